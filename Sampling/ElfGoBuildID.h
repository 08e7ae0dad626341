#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace orv {

// The build id that the Go linker writes into every ELF executable it makes:
// a note named "Go" of type 4 in section .note.go.buildid, which the linker
// places in a PT_NOTE segment right after the program headers. Recognising
// it tells a Go program from any other native binary without running it.
struct ElfGoBuildID {
    static constexpr size_t identSize = 16;
    static constexpr uint8_t class32 = 1, class64 = 2;             // EI_CLASS
    static constexpr uint8_t littleEndian = 1, bigEndian = 2;      // EI_DATA
    static constexpr size_t programHeaderOffset64 = 32;            // e_phoff
    static constexpr size_t programHeaderEntrySize64 = 54;         // e_phentsize
    static constexpr size_t programHeaderCount64 = 56;             // e_phnum
    static constexpr size_t programHeaderOffset32 = 28;
    static constexpr size_t programHeaderEntrySize32 = 42;
    static constexpr size_t programHeaderCount32 = 44;
    static constexpr uint32_t noteSegment = 4;                     // PT_NOTE
    static constexpr size_t segmentOffset64 = 8, segmentFileSize64 = 32;   // p_offset, p_filesz
    static constexpr size_t segmentOffset32 = 4, segmentFileSize32 = 16;
    static constexpr uint32_t goBuildIDNoteType = 4;               // ELF_NOTE_GOBUILDID_TAG

    // The bytes from the start of an executable; how many are needed depends
    // on the binary (Go puts the note within the first page). Absent when
    // the bytes are not ELF, end before a note segment, or hold no Go note.
    static std::optional<std::string> decode(std::span<const uint8_t> bytes);
};

}  // namespace orv

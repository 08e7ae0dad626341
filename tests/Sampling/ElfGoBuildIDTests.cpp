#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Sampling/ElfGoBuildID.h"

namespace orv {
namespace {

template <class T>
void put(std::vector<uint8_t>& bytes, size_t offset, T value, bool big) {
    for (size_t i = 0; i < sizeof(T); ++i) {
        const size_t shift = 8 * (big ? sizeof(T) - 1 - i : i);
        bytes[offset + i] = uint8_t(uint64_t(value) >> shift);
    }
}

std::vector<uint8_t> note(const std::string& name, uint32_t type, const std::string& desc, bool big) {
    auto padded = [](size_t n) { return (n + 3) & ~size_t(3); };
    std::vector<uint8_t> bytes(12 + padded(name.size() + 1) + padded(desc.size()), 0);
    put<uint32_t>(bytes, 0, uint32_t(name.size() + 1), big);
    put<uint32_t>(bytes, 4, uint32_t(desc.size()), big);
    put<uint32_t>(bytes, 8, type, big);
    std::memcpy(bytes.data() + 12, name.data(), name.size());
    std::memcpy(bytes.data() + 12 + padded(name.size() + 1), desc.data(), desc.size());
    return bytes;
}

// An executable's head as a linker lays it out: ELF header, program
// headers (a PT_LOAD, then a PT_NOTE), then the notes.
std::vector<uint8_t> elf(bool wide, bool big, const std::vector<uint8_t>& notes) {
    const size_t header = wide ? 64 : 52, entry = wide ? 56 : 32, count = 2;
    const size_t notesAt = header + entry * count;
    std::vector<uint8_t> bytes(notesAt, 0);
    bytes[0] = 0x7f, bytes[1] = 'E', bytes[2] = 'L', bytes[3] = 'F';
    bytes[4] = wide ? 2 : 1;
    bytes[5] = big ? 2 : 1;
    bytes[6] = 1;
    if (wide) {
        put<uint64_t>(bytes, 32, header, big);
        put<uint16_t>(bytes, 54, uint16_t(entry), big);
        put<uint16_t>(bytes, 56, uint16_t(count), big);
        put<uint32_t>(bytes, header, 1, big);  // PT_LOAD
        put<uint32_t>(bytes, header + entry, 4, big);  // PT_NOTE
        put<uint64_t>(bytes, header + entry + 8, notesAt, big);
        put<uint64_t>(bytes, header + entry + 32, notes.size(), big);
    } else {
        put<uint32_t>(bytes, 28, uint32_t(header), big);
        put<uint16_t>(bytes, 42, uint16_t(entry), big);
        put<uint16_t>(bytes, 44, uint16_t(count), big);
        put<uint32_t>(bytes, header, 1, big);
        put<uint32_t>(bytes, header + entry, 4, big);
        put<uint32_t>(bytes, header + entry + 4, uint32_t(notesAt), big);
        put<uint32_t>(bytes, header + entry + 16, uint32_t(notes.size()), big);
    }
    bytes.insert(bytes.end(), notes.begin(), notes.end());
    return bytes;
}

const std::string goID = "Q9v1rWbYQd1b1xkEgQ6f/abcdefghij/klmnop/qrstuv";

TEST(ElfGoBuildID, FindsTheGoNoteInA64BitLittleEndianExecutable) {
    auto notes = note("GNU", 3, std::string(20, '\x11'), false);
    auto go = note("Go", 4, goID, false);
    notes.insert(notes.end(), go.begin(), go.end());
    EXPECT_EQ(ElfGoBuildID::decode(elf(true, false, notes)), goID);
}

TEST(ElfGoBuildID, ReadsThirtyTwoBitAndBigEndianExecutables) {
    EXPECT_EQ(ElfGoBuildID::decode(elf(false, true, note("Go", 4, goID, true))), goID);
    EXPECT_EQ(ElfGoBuildID::decode(elf(false, false, note("Go", 4, goID, false))), goID);
}

TEST(ElfGoBuildID, AnotherNoteOrAnotherTypeIsNotGo) {
    EXPECT_FALSE(ElfGoBuildID::decode(elf(true, false, note("GNU", 3, std::string(20, '\x11'), false))));
    EXPECT_FALSE(ElfGoBuildID::decode(elf(true, false, note("Go", 3, goID, false))));
    EXPECT_FALSE(ElfGoBuildID::decode(elf(true, false, note("Gopher", 4, goID, false))));
}

TEST(ElfGoBuildID, NotElfOrCutShortIsAbsent) {
    EXPECT_FALSE(ElfGoBuildID::decode({}));
    const std::string script = "#!/usr/bin/env node\nconsole.log(1)\n";
    EXPECT_FALSE(ElfGoBuildID::decode(std::span(reinterpret_cast<const uint8_t*>(script.data()), script.size())));
    auto bytes = elf(true, false, note("Go", 4, goID, false));
    for (size_t cut : {size_t(5), size_t(40), size_t(64), size_t(100), size_t(64 + 112 + 14), bytes.size() - 1}) {
        std::vector<uint8_t> head(bytes.begin(), bytes.begin() + long(cut));
        EXPECT_FALSE(ElfGoBuildID::decode(head)) << cut;
    }
    bytes[4] = 7;  // no such class
    EXPECT_FALSE(ElfGoBuildID::decode(bytes));
}

TEST(ElfGoBuildID, ANoteSizeRunningPastItsSegmentIsAbsent) {
    auto notes = note("Go", 4, goID, false);
    put<uint32_t>(notes, 4, 0xfffffff0u, false);
    EXPECT_FALSE(ElfGoBuildID::decode(elf(true, false, notes)));
    auto bytes = elf(true, false, note("Go", 4, goID, false));
    put<uint16_t>(bytes, 56, 0xffff, false);  // more program headers than bytes
    EXPECT_FALSE(ElfGoBuildID::decode(bytes));
}

TEST(ElfGoBuildID, TheTestProgramItselfIsNotGo) {
    FILE* self = std::fopen("/proc/self/exe", "rb");
    ASSERT_NE(self, nullptr);
    std::vector<uint8_t> head(65536);
    head.resize(std::fread(head.data(), 1, head.size(), self));
    std::fclose(self);
    EXPECT_FALSE(ElfGoBuildID::decode(head));
}

}  // namespace
}  // namespace orv

#include "Sampling/ElfGoBuildID.h"

#include <string_view>

#include "core/ByteDecoding.h"

namespace orv {

namespace {

struct Reader {
    std::span<const uint8_t> bytes;
    bool big = false;

    template <class T>
    std::optional<T> load(size_t offset) const {
        return big ? ByteDecoding::loadBigEndian<T>(bytes, offset) : ByteDecoding::loadLittleEndian<T>(bytes, offset);
    }
};

constexpr size_t align4(size_t n) { return (n + 3) & ~size_t(3); }

// The Go note among the notes of one segment's bytes [offset, offset + size).
std::optional<std::string> goNote(const Reader& r, uint64_t offset, uint64_t size) {
    if (!ByteDecoding::has(r.bytes, offset, size)) return std::nullopt;
    size_t at = size_t(offset);
    const size_t end = size_t(offset + size);
    while (at + 12 <= end) {
        auto nameSize = r.load<uint32_t>(at), descSize = r.load<uint32_t>(at + 4), type = r.load<uint32_t>(at + 8);
        if (!nameSize || !descSize || !type) return std::nullopt;
        const size_t name = at + 12;
        const size_t desc = name + align4(*nameSize);
        const size_t next = desc + align4(*descSize);
        if (desc < name || next < desc || next > end) return std::nullopt;
        const std::string_view nameText(reinterpret_cast<const char*>(r.bytes.data() + name), *nameSize);
        if (*type == ElfGoBuildID::goBuildIDNoteType && (nameText == std::string_view("Go\0", 3) || nameText == "Go")) {
            return std::string(reinterpret_cast<const char*>(r.bytes.data() + desc), *descSize);
        }
        at = next;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> ElfGoBuildID::decode(std::span<const uint8_t> bytes) {
    if (bytes.size() < identSize || bytes[0] != 0x7f || bytes[1] != 'E' || bytes[2] != 'L' || bytes[3] != 'F') {
        return std::nullopt;
    }
    const uint8_t elfClass = bytes[4];
    if (elfClass != class32 && elfClass != class64) return std::nullopt;
    if (bytes[5] != littleEndian && bytes[5] != bigEndian) return std::nullopt;
    const Reader r{bytes, bytes[5] == bigEndian};
    const bool wide = elfClass == class64;

    std::optional<uint64_t> table;
    if (wide) table = r.load<uint64_t>(programHeaderOffset64);
    else if (auto t = r.load<uint32_t>(programHeaderOffset32)) table = *t;
    auto entrySize = r.load<uint16_t>(wide ? programHeaderEntrySize64 : programHeaderEntrySize32);
    auto count = r.load<uint16_t>(wide ? programHeaderCount64 : programHeaderCount32);
    if (!table || !entrySize || !count) return std::nullopt;
    if (*entrySize < (wide ? segmentFileSize64 + 8 : segmentFileSize32 + 4)) return std::nullopt;

    // The whole table must be there: a count past the bytes is not an
    // executable this reader understands.
    if (*table > bytes.size() || !ByteDecoding::has(bytes, size_t(*table), size_t(*count) * *entrySize)) {
        return std::nullopt;
    }
    for (uint16_t i = 0; i < *count; ++i) {
        const uint64_t entry = *table + uint64_t(i) * *entrySize;
        auto type = r.load<uint32_t>(size_t(entry));
        if (type != noteSegment) continue;
        std::optional<uint64_t> offset, size;
        if (wide) {
            offset = r.load<uint64_t>(size_t(entry) + segmentOffset64);
            size = r.load<uint64_t>(size_t(entry) + segmentFileSize64);
        } else {
            if (auto o = r.load<uint32_t>(size_t(entry) + segmentOffset32)) offset = *o;
            if (auto s = r.load<uint32_t>(size_t(entry) + segmentFileSize32)) size = *s;
        }
        if (!offset || !size) continue;
        if (auto id = goNote(r, *offset, *size)) return id;
    }
    return std::nullopt;
}

}  // namespace orv

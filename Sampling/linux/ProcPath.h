#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace orv {

// A path below an open proc directory that names one task's entry —
// "<pid>", "<pid>/<file>" or "<pid>/task/<tid>/<file>" — built on the stack,
// for openat and its kin. A path that could not be built (a number that did
// not format, a name too long) is empty and not valid: openat of "" fails
// with ENOENT, as for a process that is gone.
class ProcPath {
public:
    explicit ProcPath(int32_t pid, std::string_view file = {}) {
        valid_ = appendNumber(pid) && (file.empty() || (append("/") && append(file)));
        finish();
    }
    ProcPath(int32_t pid, int32_t tid, std::string_view file) {
        valid_ = appendNumber(pid) && append("/task/") && appendNumber(tid) && append("/") && append(file);
        finish();
    }

    bool valid() const { return valid_; }
    const char* c_str() const { return text_; }
    std::string_view view() const { return {text_, length_}; }

private:
    bool appendNumber(int32_t number) {
        auto [end, error] = std::to_chars(text_ + length_, text_ + capacity, number);
        if (error != std::errc()) return false;
        length_ = size_t(end - text_);
        return true;
    }
    bool append(std::string_view part) {
        if (part.size() > capacity - length_) return false;
        std::memcpy(text_ + length_, part.data(), part.size());
        length_ += part.size();
        return true;
    }
    void finish() {
        if (!valid_) length_ = 0;
        text_[length_] = '\0';
    }

    // Two numbers of eleven characters and the longest proc file name this
    // code asks for fit with room to spare.
    static constexpr size_t capacity = 63;
    char text_[capacity + 1];
    size_t length_ = 0;
    bool valid_ = false;
};

}  // namespace orv

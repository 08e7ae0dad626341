#pragma once

#include <boost/assert/source_location.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <variant>

namespace orv {

// The samplers' error, thrown when a sampler's primary read fails: a Mach
// return code or a failed sysctl on macOS; a file that could not be read or
// decoded, or a refused netlink request, on Linux. Optional facilities never
// throw it; they answer with absence.
class SamplingError : public std::exception {
public:
    struct Kernel {
        int32_t code;
        friend bool operator==(const Kernel&, const Kernel&) = default;
    };
    struct Sysctl {
        std::string name;
        int32_t errnoValue;
        friend bool operator==(const Sysctl&, const Sysctl&) = default;
    };
    // A kernel file (proc/stat, proc/diskstats, …) that could not be opened
    // or read, or whose contents did not decode (EBADMSG).
    struct FileRead {
        std::string path;
        int32_t errnoValue;
        friend bool operator==(const FileRead&, const FileRead&) = default;
    };
    // An rtnetlink request (its message type's name, "RTM_GETLINK") that the
    // socket or the kernel refused.
    struct Netlink {
        std::string request;
        int32_t errnoValue;
        friend bool operator==(const Netlink&, const Netlink&) = default;
    };
    using Value = std::variant<Kernel, Sysctl, FileRead, Netlink>;

    // kernel(0), KERN_SUCCESS: only so that Result<T, SamplingError> can
    // answer error() for a success, as it does for every error type.
    SamplingError() : SamplingError(Kernel{0}) {}

    static SamplingError kernel(int32_t code) { return SamplingError(Kernel{code}); }
    static SamplingError sysctl(std::string name, int32_t errnoValue) {
        return SamplingError(Sysctl{std::move(name), errnoValue});
    }
    static SamplingError fileRead(std::string path, int32_t errnoValue) {
        return SamplingError(FileRead{std::move(path), errnoValue});
    }
    static SamplingError netlink(std::string request, int32_t errnoValue) {
        return SamplingError(Netlink{std::move(request), errnoValue});
    }

    const Value& value() const { return value_; }
    const char* what() const noexcept override { return description_.c_str(); }
    // What failed, with the sysctl, path or request and the errno. The
    // kernel and sysctl forms are the ones the macOS log lines carry
    // ("sysctl(name: \"hw.memsize\", errno: 22)"); the Linux forms add the
    // errno's text, since no other log line explains it.
    const std::string& description() const { return description_; }

    friend bool operator==(const SamplingError& a, const SamplingError& b) { return a.value_ == b.value_; }

private:
    explicit SamplingError(Value value);

    Value value_;
    std::string description_;
};

// Result<T, SamplingError>::value() throws the error itself, so a port's
// helpers return Results and its primary read is `helper().value()`.
[[noreturn]] inline void throw_exception_from_error(const SamplingError& error, const boost::source_location&) {
    throw error;
}

}  // namespace orv

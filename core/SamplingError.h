#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <variant>

namespace orv {

// The samplers' error: a Mach return code, or a failed sysctl with its name
// and errno. Optional facilities never throw it; they answer with absence.
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

    static SamplingError kernel(int32_t code) { return SamplingError(Kernel{code}); }
    static SamplingError sysctl(std::string name, int32_t errnoValue) {
        return SamplingError(Sysctl{std::move(name), errnoValue});
    }

    const std::variant<Kernel, Sysctl>& value() const { return value_; }
    const char* what() const noexcept override { return description_.c_str(); }
    const std::string& description() const { return description_; }

    friend bool operator==(const SamplingError& a, const SamplingError& b) { return a.value_ == b.value_; }

private:
    explicit SamplingError(std::variant<Kernel, Sysctl> value);

    std::variant<Kernel, Sysctl> value_;
    std::string description_;
};

}  // namespace orv

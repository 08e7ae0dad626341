#pragma once

#include <boost/system/result.hpp>

#include <cerrno>
#include <system_error>

namespace orv {

// What a read or a decode below a sampler returns: a value, or the error
// that stopped it. Samplers turn a failed primary read into SamplingError;
// everything beneath them passes Results up instead of throwing, so a
// fallback is an ordinary branch. Ignoring one is a compile-time warning.
template <class T, class E = std::error_code>
class [[nodiscard]] Result : public boost::system::result<T, E> {
public:
    using boost::system::result<T, E>::result;
};

// The calling thread's errno as an error, for a POSIX call that just failed.
inline std::error_code lastError() { return std::error_code(errno, std::generic_category()); }
inline std::error_code errorFrom(int errnoValue) { return std::error_code(errnoValue, std::generic_category()); }

}  // namespace orv

#include <unicode/ulocdata.h>
#include <unicode/unum.h>
#include <unicode/ustring.h>

#include <cmath>
#include <cstdlib>
#include <mutex>

#include "core/NumberLocale.h"

namespace orv {

// ICU's decimal formatter of one locale. A UNumberFormat is not safe to use
// from two threads, and its fraction digits are set per call, so calls take
// turns.
struct NumberLocale::Formatter {
    std::mutex mutex;
    UNumberFormat* format = nullptr;

    explicit Formatter(const std::string& locale) {
        UErrorCode status = U_ZERO_ERROR;
        format = unum_open(UNUM_DECIMAL, nullptr, 0, locale.c_str(), nullptr, &status);
        if (U_FAILURE(status)) format = nullptr;
        if (format) unum_setAttribute(format, UNUM_ROUNDING_MODE, UNUM_ROUND_HALFUP);
    }
    ~Formatter() {
        if (format) unum_close(format);
    }
};

NumberLocale::NumberLocale(std::string_view identifier)
    : identifier_(identifierFromPosix(identifier)), formatter_(std::make_shared<Formatter>(identifier_)) {}
NumberLocale::~NumberLocale() = default;
NumberLocale::NumberLocale(const NumberLocale&) = default;
NumberLocale& NumberLocale::operator=(const NumberLocale&) = default;

const NumberLocale& NumberLocale::current() {
    static const NumberLocale locale = [] {
        for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
            const char* value = std::getenv(variable);
            if (value && *value) return NumberLocale(value);
        }
        return NumberLocale("C");
    }();
    return locale;
}

std::string NumberLocale::format(double value, int fractionDigits) const {
    if (std::isnan(value)) value = 0;
    std::lock_guard lock(formatter_->mutex);
    UNumberFormat* format = formatter_->format;
    if (!format) return std::to_string(value);
    unum_setAttribute(format, UNUM_MIN_FRACTION_DIGITS, fractionDigits);
    unum_setAttribute(format, UNUM_MAX_FRACTION_DIGITS, fractionDigits);
    UChar buffer[128];
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = unum_formatDouble(format, value, buffer, 128, nullptr, &status);
    if (U_FAILURE(status)) return std::to_string(value);
    char text[512];
    int32_t textLength = 0;
    status = U_ZERO_ERROR;
    u_strToUTF8(text, sizeof text, &textLength, buffer, length, &status);
    if (U_FAILURE(status)) return std::to_string(value);
    return std::string(text, size_t(textLength));
}

bool NumberLocale::usesUSMeasurement() const {
    // en_US_POSIX stands for the C locale here, whose measurement system
    // (glibc's LC_MEASUREMENT) is metric, though ICU files it as American.
    if (identifier_ == "en_US_POSIX") return false;
    UErrorCode status = U_ZERO_ERROR;
    UMeasurementSystem system = ulocdata_getMeasurementSystem(identifier_.c_str(), &status);
    return U_SUCCESS(status) && system == UMS_US;
}

}  // namespace orv

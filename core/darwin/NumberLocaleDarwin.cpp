#include <cmath>
#include <mutex>
#include <string>

#include "core/NumberLocale.h"
#include "core/darwin/CFRef.h"

namespace orv {

namespace {

std::string utf8(CFStringRef text) {
    if (!text) return {};
    CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
    std::string out(size_t(size), '\0');
    if (!CFStringGetCString(text, out.data(), size, kCFStringEncodingUTF8)) return {};
    out.resize(out.find('\0'));
    return out;
}

CFRef<CFStringRef> cfString(const std::string& text) {
    return CFRef<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

}  // namespace

// CoreFoundation's decimal formatter of one locale; its fraction digits are
// set per call, so calls take turns.
struct NumberLocale::Formatter {
    std::mutex mutex;
    CFRef<CFLocaleRef> locale;
    CFRef<CFNumberFormatterRef> format;

    explicit Formatter(const std::string& identifier)
        : locale(CFLocaleCreate(kCFAllocatorDefault, cfString(identifier).get())),
          format(CFNumberFormatterCreate(kCFAllocatorDefault, locale.get(), kCFNumberFormatterDecimalStyle)) {
        if (!format) return;
        CFIndex mode = kCFNumberFormatterRoundHalfUp;
        CFRef<CFNumberRef> number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &mode));
        CFNumberFormatterSetProperty(format.get(), kCFNumberFormatterRoundingMode, number.get());
    }
};

NumberLocale::NumberLocale(std::string_view identifier)
    : identifier_(identifierFromPosix(identifier)), formatter_(std::make_shared<Formatter>(identifier_)) {}
NumberLocale::~NumberLocale() = default;
NumberLocale::NumberLocale(const NumberLocale&) = default;
NumberLocale& NumberLocale::operator=(const NumberLocale&) = default;

const NumberLocale& NumberLocale::current() {
    // The user's locale as set in System Settings, not the environment.
    static const NumberLocale locale = [] {
        CFRef<CFLocaleRef> user(CFLocaleCopyCurrent());
        return NumberLocale(user ? utf8(CFLocaleGetIdentifier(user.get())) : std::string("en_US_POSIX"));
    }();
    return locale;
}

std::string NumberLocale::format(double value, int fractionDigits) const {
    if (std::isnan(value)) value = 0;
    std::lock_guard lock(formatter_->mutex);
    if (!formatter_->format) return std::to_string(value);
    int64_t digits = fractionDigits;
    CFRef<CFNumberRef> number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &digits));
    CFNumberFormatterSetProperty(formatter_->format.get(), kCFNumberFormatterMinFractionDigits, number.get());
    CFNumberFormatterSetProperty(formatter_->format.get(), kCFNumberFormatterMaxFractionDigits, number.get());
    CFRef<CFStringRef> text(CFNumberFormatterCreateStringWithValue(kCFAllocatorDefault, formatter_->format.get(),
                                                                   kCFNumberDoubleType, &value));
    return utf8(text.get());
}

bool NumberLocale::usesUSMeasurement() const {
    if (!formatter_->locale) return false;
    auto system = CFLocaleGetValue(formatter_->locale.get(), kCFLocaleMeasurementSystem);
    return system && utf8(static_cast<CFStringRef>(system)) == "U.S.";
}

}  // namespace orv

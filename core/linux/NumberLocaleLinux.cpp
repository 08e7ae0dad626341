#include <langinfo.h>
#include <locale.h>

#include <cstdlib>

#include "core/NumberLocale.h"
#include "core/NumberSymbols.h"

namespace orv {

namespace {

bool isASCII(const std::string& text) {
    for (unsigned char c : text) {
        if (c >= 0x80) return false;
    }
    return true;
}

// The C library's locale object for `name`: as given, or its UTF-8 form
// first when the name carries no codeset ("de_DE" is most often generated
// as de_DE.UTF-8 only); null when the locale is not installed.
locale_t openLocale(const std::string& name) {
    constexpr int mask = LC_NUMERIC_MASK | LC_MEASUREMENT_MASK | LC_CTYPE_MASK;
    if (name.find('.') == std::string::npos && name != "C" && name != "POSIX") {
        auto at = name.find('@');
        std::string utf8 = name.substr(0, at) + ".UTF-8" + (at == std::string::npos ? "" : name.substr(at));
        if (locale_t made = newlocale(mask, utf8.c_str(), locale_t(nullptr))) return made;
    }
    return newlocale(mask, name.c_str(), locale_t(nullptr));
}

}  // namespace

// The separators and grouping of the C library's locale of that name, read
// once: numbers read as the system's own tools (printf's ' flag, ls, df)
// write them. A locale that is not installed reads as C, as it does for
// those tools.
struct NumberLocale::Formatter {
    NumberSymbols symbols;
    bool usesUSMeasurement = false;

    explicit Formatter(const std::string& name) {
        locale_t locale = openLocale(name.empty() ? "C" : name);
        if (!locale) return;
        symbols.decimalSeparator = nl_langinfo_l(RADIXCHAR, locale);
        symbols.groupSeparator = nl_langinfo_l(THOUSEP, locale);
        symbols.grouping = nl_langinfo_l(GROUPING, locale);
        // Figures are written as UTF-8: a separator in another encoding
        // (de_DE.ISO-8859-1's no-break space) is left out.
        // (A point is moved in whole rather than assigned from a literal:
        // GCC 12 at -O3 misreads the literal's copy as an overlap.)
        if (std::string(nl_langinfo_l(CODESET, locale)) != "UTF-8") {
            if (!isASCII(symbols.decimalSeparator)) symbols.decimalSeparator = std::string(1, '.');
            if (!isASCII(symbols.groupSeparator)) symbols.groupSeparator.clear();
        }
        if (symbols.decimalSeparator.empty()) symbols.decimalSeparator = std::string(1, '.');
        // LC_MEASUREMENT's measurement: 1 metric, 2 US customary.
        usesUSMeasurement = nl_langinfo_l(_NL_MEASUREMENT_MEASUREMENT, locale)[0] == 2;
        freelocale(locale);
    }
};

NumberLocale::NumberLocale(std::string_view identifier)
    : identifier_(identifierFromPosix(identifier)), formatter_(std::make_shared<Formatter>(std::string(identifier))) {}
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
    return formatter_->symbols.format(value, fractionDigits);
}

bool NumberLocale::usesUSMeasurement() const { return formatter_->usesUSMeasurement; }

}  // namespace orv

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>

namespace orv {

// Equal strings held once. Thousands of processes run a few hundred
// executables: a table of them keeps each path once, looked up by its text,
// instead of a copy per process.
class SharedStrings {
public:
    using Shared = std::shared_ptr<const std::string>;

    // The one string equal to `text`, made on first use.
    Shared share(std::string_view text) {
        auto found = strings_.find(text);
        if (found != strings_.end()) return *found;
        return *strings_.insert(std::make_shared<const std::string>(text)).first;
    }

    // Lets go of the strings that only this table still holds.
    void prune() {
        std::erase_if(strings_, [](const Shared& string) { return string.use_count() == 1; });
    }

    size_t size() const { return strings_.size(); }

private:
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
        size_t operator()(const Shared& string) const noexcept { return (*this)(std::string_view(*string)); }
    };
    struct Equal {
        using is_transparent = void;
        static std::string_view text(std::string_view text) { return text; }
        static std::string_view text(const Shared& string) { return *string; }
        template <class A, class B>
        bool operator()(const A& a, const B& b) const noexcept {
            return text(a) == text(b);
        }
    };

    std::unordered_set<Shared, Hash, Equal> strings_;
};

}  // namespace orv

#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/JsonCoding.h"

namespace orv::json {

// Writes an array of records as encode() does, reusing the text of every
// record equal to the one the previous call wrote under the same id. A
// process table sent every second is mostly unchanged sleepers, and
// comparing a record costs far less than writing it. Not thread-safe: one
// encoder belongs to one thread.
template <class T>
class RecordArrayEncoder {
public:
    using Id = std::remove_cvref_t<decltype(std::declval<const T&>().id())>;

    // The text encode(items) writes; throws as it does.
    std::string encode(const std::vector<T>& items) {
        std::string out;
        out.reserve(lastSize_ + lastSize_ / 8 + 2);
        ++generation_;
        out.push_back('[');
        for (size_t i = 0; i < items.size(); ++i) {
            const T& item = items[i];
            if (i != 0) out.push_back(',');
            auto [entry, added] = cache_.try_emplace(item.id());
            Entry& known = entry->second;
            if (added || known.generation == generation_ || !(known.item == item)) {
                // New, repeated within this call, or changed: written anew.
                try {
                    std::string text = json::encode(item);
                    known.item = item;
                    known.text = std::move(text);
                } catch (...) {
                    if (added) cache_.erase(entry);
                    throw;
                }
            }
            known.generation = generation_;
            out += known.text;
        }
        out.push_back(']');
        // Only this call's records are kept: a process that exited is forgotten.
        std::erase_if(cache_, [&](const auto& kept) { return kept.second.generation != generation_; });
        lastSize_ = out.size();
        return out;
    }

    size_t cachedCount() const { return cache_.size(); }

private:
    struct Entry {
        T item{};
        std::string text;
        uint64_t generation = 0;  // the last call that wrote it
    };
    std::unordered_map<Id, Entry> cache_;
    uint64_t generation_ = 0;
    size_t lastSize_ = 0;
};

}  // namespace orv::json

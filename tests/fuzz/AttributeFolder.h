#pragma once

// sysfs attribute folders written as text, so that seeds stay readable:
// "[name]" opens a folder, each "file=value" line below it is one file
// (the value as the kernel wrote it, blanks included). Lines before the
// first "[name]" belong to a folder with an empty name.
#include <string>
#include <string_view>
#include <vector>

#include "PrivateAPIs/AttributeText.h"

namespace orv::fuzz {

struct AttributeFolder {
    std::string name;
    AttributeText::Attributes attributes;

    static std::vector<AttributeFolder> decodeAll(std::string_view text) {
        std::vector<AttributeFolder> folders;
        while (!text.empty()) {
            const size_t end = text.find('\n');
            std::string_view line = text.substr(0, end);
            text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
            if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
                folders.push_back({std::string(line.substr(1, line.size() - 2)), {}});
                continue;
            }
            const size_t equals = line.find('=');
            if (equals == std::string_view::npos) continue;
            if (folders.empty()) folders.emplace_back();
            folders.back().attributes.insert_or_assign(std::string(line.substr(0, equals)),
                                                       std::string(line.substr(equals + 1)));
        }
        return folders;
    }
};

}  // namespace orv::fuzz

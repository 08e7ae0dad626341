#include "PrivateAPIs/linux/AttributeDirectory.h"

#include <algorithm>

#include "core/FileReading.h"

namespace orv::AttributeDirectory {

namespace {
// Attribute files are a page at most; a read stops here whatever the file holds.
constexpr size_t maximumAttributeSize = 64 * 1024;
}  // namespace

std::optional<std::string> read(const std::filesystem::path& file) {
    auto text = FileReading::readSmallFile(file, maximumAttributeSize);
    if (!text) return std::nullopt;
    return std::string(AttributeText::trimmed(*text));
}

AttributeText::Attributes readAll(const std::filesystem::path& folder) {
    AttributeText::Attributes out;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        std::error_code statError;
        // Links such as device/ and subsystem/ lead to folders and are not attributes.
        if (!it->is_regular_file(statError) || it->is_symlink(statError)) continue;
        auto name = it->path().filename().string();
        if (name == "uevent") continue;
        if (auto text = read(it->path())) out.emplace(std::move(name), std::move(*text));
    }
    return out;
}

std::vector<std::filesystem::path> entries(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> out;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        out.push_back(it->path());
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) {
        return AttributeText::naturalLess(a.filename().string(), b.filename().string());
    });
    return out;
}

}  // namespace orv::AttributeDirectory

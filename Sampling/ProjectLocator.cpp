#include "Sampling/ProjectLocator.h"

#include <array>
#include <system_error>

#include "core/FileReading.h"
#include "core/JsonDocument.h"
#include "core/TextDecoding.h"

namespace orv {

namespace {

// In the order a folder's name is looked up: the manifests that name a
// project first.
constexpr std::array<std::string_view, 8> manifests = {"package.json", "deno.json",  "Cargo.toml", "pyproject.toml",
                                                       "go.mod",       "Gemfile",    "pom.xml",    "build.gradle"};

// A manifest is a small file; a larger one is not read for its name.
constexpr size_t manifestLimit = 1 << 20;

std::optional<std::string> jsonName(std::string_view text) {
    json::JsonDocument document;
    json::JsonElement root, name;
    std::string error;
    if (!document.parse(text, root, error) || root.type() != json::JsonType::object) return std::nullopt;
    if (!root.object().find("name", name) || name.type() != json::JsonType::string || name.string().empty()) {
        return std::nullopt;
    }
    return std::string(name.string());
}

// `name = "…"` within one of `sections` of a TOML file; only the plain
// quoted form is read.
std::optional<std::string> tomlName(std::string_view text, std::initializer_list<std::string_view> sections) {
    bool inSection = false;
    for (std::string_view line : TextDecoding::Lines(text)) {
        line = TextDecoding::trim(line);
        if (line.starts_with('[')) {
            inSection = false;
            for (auto section : sections) inSection = inSection || line == section;
            continue;
        }
        if (!inSection) continue;
        auto pair = TextDecoding::splitKeyValue(line, '=');
        if (!pair || TextDecoding::trim(pair->first) != "name") continue;
        auto value = pair->second;
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
            value = value.substr(1, value.size() - 2);
            if (!value.empty()) return std::string(value);
        }
    }
    return std::nullopt;
}

std::optional<std::string> goModuleName(std::string_view text) {
    for (std::string_view line : TextDecoding::Lines(text)) {
        line = TextDecoding::trim(line);
        if (!line.starts_with("module")) continue;
        auto path = TextDecoding::trim(line.substr(6));
        if (path.size() >= 2 && path.front() == '"' && path.back() == '"') path = path.substr(1, path.size() - 2);
        auto slash = path.rfind('/');
        if (slash != std::string_view::npos) path = path.substr(slash + 1);
        if (!path.empty()) return std::string(path);
    }
    return std::nullopt;
}

}  // namespace

ProjectLocator::ProjectLocator(std::filesystem::path root) : root_(std::move(root)) {}

std::filesystem::path ProjectLocator::below(std::string_view path) const {
    return root_ / std::filesystem::path(path).relative_path();
}

bool ProjectLocator::hasFile(std::string_view path) const {
    std::error_code error;
    return std::filesystem::is_regular_file(below(path), error);
}

std::optional<std::string> ProjectLocator::manifestName(std::string_view manifest, std::string_view text) {
    if (manifest == "package.json" || manifest == "deno.json") return jsonName(text);
    if (manifest == "Cargo.toml") return tomlName(text, {"[package]"});
    if (manifest == "pyproject.toml") return tomlName(text, {"[project]", "[tool.poetry]"});
    if (manifest == "go.mod") return goModuleName(text);
    return std::nullopt;
}

std::optional<ProjectLocator::Found> ProjectLocator::locate(std::string_view workingDirectory) const {
    std::filesystem::path folder(workingDirectory);
    if (!folder.is_absolute()) return std::nullopt;
    folder = folder.lexically_normal();
    if (folder.has_filename() == false && folder != folder.root_path()) folder = folder.parent_path();
    std::error_code error;
    for (; folder != folder.root_path() && !folder.empty(); folder = folder.parent_path()) {
        const auto here = below(folder.native());
        bool qualifies = std::filesystem::exists(here / ".git", error);
        std::optional<std::string> name;
        for (auto manifest : manifests) {
            const auto file = here / manifest;
            if (!std::filesystem::is_regular_file(file, error)) continue;
            qualifies = true;
            if (name) continue;
            if (auto text = FileReading::readSmallFile(file, manifestLimit)) name = manifestName(manifest, *text);
        }
        if (qualifies) return Found{folder.native(), name.value_or(folder.filename().native())};
    }
    return std::nullopt;
}

}  // namespace orv

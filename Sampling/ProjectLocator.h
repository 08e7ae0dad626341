#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// The project a working directory belongs to: the nearest folder at or
// above it that holds a repository root (.git) or a package manifest
// (package.json, pyproject.toml, go.mod, Cargo.toml, Gemfile, pom.xml,
// build.gradle, deno.json). Its id is that folder's path; its name the
// manifest's own name where it has one (package.json and deno.json
// "name", pyproject.toml's [project] or [tool.poetry] name, Cargo.toml's
// [package] name, go.mod's module path's last element), else the folder's
// name. Files are read below `root`, so tests run on fixture trees.
class ProjectLocator {
public:
    struct Found {
        std::string id;    // the folder's path as the process sees it
        std::string name;
        friend bool operator==(const Found&, const Found&) = default;
    };

    explicit ProjectLocator(std::filesystem::path root = "/");

    // Absent for a relative path, and when no folder up to (not including)
    // the filesystem's root qualifies: "/" itself is never a project.
    std::optional<Found> locate(std::string_view workingDirectory) const;

    // Whether `path` (as a process sees it) names a regular file.
    bool hasFile(std::string_view path) const;

    // A manifest's name, or absent when the text gives none; pure.
    static std::optional<std::string> manifestName(std::string_view manifest, std::string_view text);

private:
    std::filesystem::path below(std::string_view path) const;

    std::filesystem::path root_;
};

}  // namespace orv

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "PrivateAPIs/AttributeText.h"

namespace orv {

// Reads sysfs-style attribute folders. Each read is small and bounded; a
// file that cannot be read (some drivers answer EIO or ENODATA while a
// device settles) is left out rather than failing the folder.
namespace AttributeDirectory {

// The file's text without surrounding blanks; absent when unreadable.
std::optional<std::string> read(const std::filesystem::path& file);

// Every regular file directly in `folder`, by file name.
AttributeText::Attributes readAll(const std::filesystem::path& folder);

// The entries of `folder` (following links), in natural name order; empty
// when the folder is missing.
std::vector<std::filesystem::path> entries(const std::filesystem::path& folder);

}  // namespace AttributeDirectory

}  // namespace orv

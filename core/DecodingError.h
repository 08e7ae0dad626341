#pragma once

#include <stdexcept>
#include <string>

namespace orv::json {

// Why a JSON document did not decode into a record. `description()` is the
// bare reason (for example "Invalid number of keys found, expected one.");
// `what()` adds the coding path, such as "cpuTime[1]", so that a log line
// names where the document went wrong.
class DecodingError : public std::runtime_error {
public:
    enum class Kind { keyNotFound, valueNotFound, typeMismatch, dataCorrupted };

    DecodingError(Kind kind, std::string path, std::string description)
        : std::runtime_error(path.empty() ? description : description + " (at " + path + ")"),
          kind_(kind), path_(std::move(path)), description_(std::move(description)) {}

    Kind kind() const { return kind_; }
    const std::string& path() const { return path_; }
    const std::string& description() const { return description_; }

private:
    Kind kind_;
    std::string path_;
    std::string description_;
};

}  // namespace orv::json

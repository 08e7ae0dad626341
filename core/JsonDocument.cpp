#include "core/JsonDocument.h"

#include <boost/json/basic_parser_impl.hpp>
#include <limits>

#include "core/ExactDecimal.h"

namespace orv::json {

// Appends the parser's events to a document's nodes. A container's node is
// placed when it opens and completed when it closes; a number's text is
// gathered here in the rare case the parser hands it over in parts.
class JsonDocumentBuilder {
public:
    static constexpr size_t max_object_size = std::numeric_limits<uint32_t>::max();
    static constexpr size_t max_array_size = std::numeric_limits<uint32_t>::max();
    static constexpr size_t max_key_size = std::numeric_limits<uint32_t>::max();
    static constexpr size_t max_string_size = std::numeric_limits<uint32_t>::max();

    explicit JsonDocumentBuilder(JsonDocument& document) : document_(document) {}

    bool on_document_begin(boost::json::error_code&) { return true; }
    bool on_document_end(boost::json::error_code&) { return true; }
    bool on_array_begin(boost::json::error_code&) { return open(JsonType::array); }
    bool on_array_end(size_t n, boost::json::error_code&) { return close(n); }
    bool on_object_begin(boost::json::error_code&) { return open(JsonType::object); }
    bool on_object_end(size_t n, boost::json::error_code&) { return close(n); }
    bool on_string_part(boost::json::string_view s, size_t, boost::json::error_code&) { return part(s); }
    bool on_string(boost::json::string_view s, size_t, boost::json::error_code&) { return string(s); }
    bool on_key_part(boost::json::string_view s, size_t, boost::json::error_code&) { return part(s); }
    bool on_key(boost::json::string_view s, size_t, boost::json::error_code&) { return string(s); }
    bool on_number_part(boost::json::string_view s, boost::json::error_code&) {
        number_.append(s.data(), s.size());
        return true;
    }
    bool on_int64(int64_t i, boost::json::string_view s, boost::json::error_code&) {
        // "-0" is a negative zero to the peer that wrote it.
        if (i == 0 && text(s) == "-0") return real(-0.0);
        number_.clear();
        push(JsonType::int64).i = i;
        return true;
    }
    bool on_uint64(uint64_t u, boost::json::string_view, boost::json::error_code&) {
        number_.clear();
        push(JsonType::uint64).u = u;
        return true;
    }
    bool on_double(double, boost::json::string_view s, boost::json::error_code& ec) {
        double value = 0;
        const std::errc read = ExactDecimal::read(text(s), value);
        if (read == std::errc()) return real(value);
        // Past the range of a double: refused, as the peer refuses it.
        if (read == std::errc::result_out_of_range) return fail(ec, boost::json::error::exponent_overflow);
        return fail(ec, boost::json::error::syntax);
    }
    bool on_bool(bool b, boost::json::error_code&) {
        push(JsonType::boolean).b = b;
        return true;
    }
    bool on_null(boost::json::error_code&) {
        push(JsonType::null);
        return true;
    }
    bool on_comment_part(boost::json::string_view, boost::json::error_code&) { return true; }
    bool on_comment(boost::json::string_view, boost::json::error_code&) { return true; }

private:
    static bool fail(boost::json::error_code& ec, boost::json::error error) {
        ec = error;
        return false;
    }

    // The whole text of the number now ending, given its last part.
    std::string_view text(boost::json::string_view last) {
        if (number_.empty()) return {last.data(), last.size()};
        number_.append(last.data(), last.size());
        return number_;
    }

    bool real(double value) {
        number_.clear();
        push(JsonType::real).d = value;
        return true;
    }

    // A value of its own, zeroed; its container completes it if it is one.
    // Every value takes at least a byte of the text, whose size parse()
    // holds within 32 bits, so indexes fit.
    JsonDocument::Node& push(JsonType type) {
        auto& nodes = document_.nodes_;
        auto& node = nodes.emplace_back();
        node.type = type;
        node.end = uint32_t(nodes.size());
        return node;
    }

    bool open(JsonType type) {
        open_.push_back(uint32_t(document_.nodes_.size()));
        push(type);
        return true;
    }

    bool close(size_t n) {
        auto& node = document_.nodes_[open_.back()];
        open_.pop_back();
        node.end = uint32_t(document_.nodes_.size());
        node.size = uint32_t(n);
        return true;
    }

    bool part(boost::json::string_view s) {
        if (!inString_) {
            start_ = document_.text_.size();
            inString_ = true;
        }
        document_.text_.append(s.data(), s.size());
        return true;
    }

    bool string(boost::json::string_view s) {
        part(s);
        inString_ = false;
        auto& node = push(JsonType::string);
        node.offset = start_;
        node.size = uint32_t(document_.text_.size() - start_);
        return true;
    }

    JsonDocument& document_;
    std::vector<uint32_t> open_;
    std::string number_;
    size_t start_ = 0;
    bool inString_ = false;
};

bool JsonDocument::parse(std::string_view text, JsonElement& root, std::string& error) {
    nodes_.clear();
    text_.clear();
    if (text.size() >= std::numeric_limits<uint32_t>::max()) {
        error = "the text is 4 GiB or more";
        return false;
    }
    // Records run at about a value per eight bytes of text.
    nodes_.reserve(text.size() / 8 + 1);
    text_.reserve(text.size() / 2);
    boost::json::parse_options options;
    options.max_depth = maxDepth;
    boost::json::basic_parser<JsonDocumentBuilder> parser(options, *this);
    boost::json::error_code ec;
    size_t used = parser.write_some(false, text.data(), text.size(), ec);
    if (!ec && used < text.size()) ec = boost::json::error::extra_data;
    if (ec) {
        nodes_.clear();
        error = ec.message();
        return false;
    }
    root = JsonElement(this, 0);
    return true;
}

}  // namespace orv::json

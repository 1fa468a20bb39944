// SPDX-License-Identifier: MIT
#include "JsonReader.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include <nlohmann/json.hpp>

namespace Rynvelctl {

namespace {

constexpr std::size_t maxDepth = 8;
// Limits the memory for a file, because a value needs far more memory than its text.
constexpr std::size_t maxValues = 2'000'000;

using Parser = nlohmann::json;

/** The position up to which the parser has read a text. */
class ReadPosition {
public:
    explicit ReadPosition(const std::string& text)
        : m_next(text.data()), m_end(text.data() + text.size()), m_counted(text.data()) {}

    const char& next() const { return *m_next; }
    void advance() { ++m_next; }
    bool isAtEnd() const { return m_next == m_end; }

    /**
     * Returns the line of the last byte that was read. This is also the line of the last token: the parser reads at
     * most one byte after a token, and a line end belongs to the line that it ends.
     */
    std::size_t line() {
        const char* const last = std::max(m_next - 1, m_counted);
        m_lines += static_cast<std::size_t>(std::count(m_counted, last, '\n'));
        m_counted = last;
        return m_lines;
    }

private:
    const char* m_next;
    const char* m_end;
    /** The first byte that m_lines does not count yet. */
    const char* m_counted;
    std::size_t m_lines = 1;
};

/** The bytes of a text. All copies share the position. */
class Bytes {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    /** @param position null for the end of the text. */
    explicit Bytes(ReadPosition* position) : m_position(position) {}

    reference operator*() const { return m_position->next(); }
    Bytes& operator++() {
        m_position->advance();
        return *this;
    }
    friend bool operator==(const Bytes& a, const Bytes& b) { return a.isAtEnd() == b.isAtEnd(); }
    friend bool operator!=(const Bytes& a, const Bytes& b) { return !(a == b); }

private:
    bool isAtEnd() const { return m_position == nullptr || m_position->isAtEnd(); }

    ReadPosition* m_position;
};

/**
 * Returns the cause, cut to 100 bytes, from a message such as "[json.exception.parse_error.101] parse error at line 1:
 * CAUSE; DETAILS".
 */
std::string causeOf(const std::string& message) {
    const std::size_t position = message.find(": ");
    const std::size_t id = message.find("] ");
    const std::size_t start = position != std::string::npos ? position + 2 : id == std::string::npos ? 0 : id + 2;
    constexpr std::size_t longest = 100;
    return message.substr(start, std::min(message.find(';', start) - start, longest));
}

class Builder : public nlohmann::json_sax<Parser> {
public:
    Builder(JsonValue& root, ReadPosition& position) : m_root(root), m_position(position) {}

    bool null() override {
        add(JsonValue::Kind::Null);
        return true;
    }
    bool boolean(bool /*value*/) override {
        add(JsonValue::Kind::Flag);
        return true;
    }
    bool number_integer(std::int64_t /*value*/) override {
        add(JsonValue::Kind::OtherNumber);
        return true;
    }
    bool number_unsigned(std::uint64_t value) override {
        add(JsonValue::Kind::WholeNumber).number = value;
        return true;
    }
    bool number_float(double /*value*/, const std::string& /*text*/) override {
        add(JsonValue::Kind::OtherNumber);
        return true;
    }
    bool string(std::string& value) override {
        add(JsonValue::Kind::String).text = value;
        return true;
    }
    bool binary(Parser::binary_t& /*value*/) override { return false; }
    bool start_object(std::size_t /*size*/) override { return open(JsonValue::Kind::Object); }
    bool key(std::string& name) override {
        m_name = name;
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t /*size*/) override { return open(JsonValue::Kind::Array); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override {
        throw WrongJson(m_position.line(), "the file is not well-formed JSON: " + causeOf(error.what()));
    }

private:
    JsonValue& add(JsonValue::Kind kind) {
        if (++m_count > maxValues) {
            throw WrongJson(m_position.line(), "the file has more than " + std::to_string(maxValues) + " values");
        }
        JsonValue& value = m_open.empty() ? m_root : m_open.back()->parts.emplace_back();
        value.kind = kind;
        value.line = m_position.line();
        value.name = std::exchange(m_name, "");
        return value;
    }

    bool open(JsonValue::Kind kind) {
        if (m_open.size() == maxDepth) {
            throw WrongJson(m_position.line(),
                            "the values are nested more than " + std::to_string(maxDepth) + " levels deep");
        }
        m_open.push_back(&add(kind));
        return true;
    }

    bool close() {
        m_open.pop_back();
        return true;
    }

    JsonValue& m_root;
    ReadPosition& m_position;
    std::size_t m_count = 0;
    /** The arrays and objects around the next value, the innermost last. Only the innermost array or object grows. */
    std::vector<JsonValue*> m_open;
    /** The name of the next member. */
    std::string m_name;
};

} // namespace

JsonValue parseJson(const std::string& text) {
    JsonValue root;
    ReadPosition position(text);
    Builder builder(root, position);
    Parser::sax_parse(Bytes(&position), Bytes(nullptr), &builder);
    return root;
}

} // namespace Rynvelctl

// SPDX-License-Identifier: Apache-2.0
#include "host/replay/located_json.h"

#include <iterator>
#include <utility>
#include <vector>

#include "host/replay/printable.h"

namespace ZYRA::Host {

namespace {

using nlohmann::json;

constexpr size_t MAX_DEPTH = 500;
constexpr size_t MAX_MESSAGE = 200;

// Tells the line of what the parser has read last. A line end counts once something behind it has been read, so that
// the parser's look-ahead does not move a token to the next line.
class LineCounter {
public:
    LineCounter(const char* begin, size_t firstLine) : counted_(begin), lastRead_(begin), line_(firstLine) {}

    void Read(const char* at) { lastRead_ = at; }

    size_t Line() {
        for (; counted_ < lastRead_; ++counted_) {
            line_ += *counted_ == '\n' ? 1 : 0;
        }
        return line_;
    }

private:
    const char* counted_;
    const char* lastRead_;
    size_t line_;
};

class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, LineCounter& counter) : at_(at), counter_(&counter) {}

    reference operator*() const {
        counter_->Read(at_);
        return *at_;
    }
    CountingIterator& operator++() {
        ++at_;
        return *this;
    }
    CountingIterator operator++(int) {
        const CountingIterator before = *this;
        ++at_;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
    bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

private:
    const char* at_;
    LineCounter* counter_;
};

// "[json.exception.parse_error.101] parse error at line 1, column 2: what" without what the user need not know.
std::string WhatOf(const json::exception& exception) {
    const std::string_view whole = exception.what();
    std::string_view what = whole.substr(std::min(whole.size(), whole.find("] ") + 2));
    constexpr std::string_view POSITION = "parse error at ";
    if (what.substr(0, POSITION.size()) == POSITION) {
        what.remove_prefix(what.find(": ") + 2);
    }
    std::string text = Printable(what.substr(0, MAX_MESSAGE));
    return what.size() > MAX_MESSAGE ? text + "..." : text;
}

// Builds the document from the parser's events.
class DocumentBuilder final : public nlohmann::json_sax<json> {
public:
    DocumentBuilder(LocatedJson& document, LineCounter& counter, bool keepLines, InputError& error)
        : document_(document), counter_(counter), keepLines_(keepLines), error_(error) {}

    bool null() override { return Scalar(nullptr); }
    bool boolean(bool value) override { return Scalar(value); }
    bool number_integer(number_integer_t value) override { return Scalar(value); }
    bool number_unsigned(number_unsigned_t value) override { return Scalar(value); }
    bool number_float(number_float_t value, const string_t& /*text*/) override { return Scalar(value); }
    bool string(string_t& value) override { return Scalar(std::move(value)); }
    bool binary(binary_t& /*value*/) override { return false; }

    bool start_object(std::size_t /*size*/) override { return Open(json::object()); }
    bool end_object() override { return Close(); }
    bool start_array(std::size_t /*size*/) override { return Open(json::array()); }
    bool end_array() override { return Close(); }

    bool key(string_t& name) override {
        json& object = *open_.back();
        const auto [member, isNew] = object.get_ptr<json::object_t*>()->emplace(name, nullptr);
        if (!isNew) {
            return Fail("duplicate member " + Quoted(name));
        }
        member_ = &member->second;
        if (keepLines_) {
            memberPointer_ = pointers_.back() + '/' + nlohmann::detail::escape(name);
            document_.lines.emplace(memberPointer_, counter_.Line());
        }
        return true;
    }

    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const json::exception& exception) override {
        return Fail(WhatOf(exception));
    }

private:
    bool Fail(std::string what) {
        error_ = {document_.file, counter_.Line(), std::move(what)};
        return false;
    }

    // Puts the value where the next one belongs and returns its place.
    json* Place(json value) {
        if (open_.empty()) {
            document_.value = std::move(value);
            memberPointer_.clear();
            return &document_.value;
        }
        json& parent = *open_.back();
        if (parent.is_object()) {
            *member_ = std::move(value);
            return member_;
        }
        parent.push_back(std::move(value));
        if (keepLines_) {
            memberPointer_ = pointers_.back() + '/' + std::to_string(parent.size() - 1);
            document_.lines.emplace(memberPointer_, counter_.Line());
        }
        return &parent.back();
    }

    bool Scalar(json value) {
        Place(std::move(value));
        return true;
    }

    bool Open(json value) {
        if (open_.size() == MAX_DEPTH) {
            return Fail("nested deeper than " + std::to_string(MAX_DEPTH) + " levels");
        }
        open_.push_back(Place(std::move(value)));
        if (keepLines_) {
            pointers_.push_back(memberPointer_);
        }
        return true;
    }

    bool Close() {
        open_.pop_back();
        if (keepLines_) {
            pointers_.pop_back();
        }
        return true;
    }

    LocatedJson& document_;
    LineCounter& counter_;
    const bool keepLines_;
    InputError& error_;
    // The containers that are open, outermost first: stable, since only the innermost one grows.
    std::vector<json*> open_;
    std::vector<std::string> pointers_;
    json* member_ = nullptr;
    std::string memberPointer_;
};

}  // namespace

size_t LocatedJson::LineOf(const std::string& pointer) const {
    const auto known = lines.find(pointer);
    return known == lines.end() ? firstLine : known->second;
}

std::optional<LocatedJson> ParseLocatedJson(const std::string& file, std::string_view text, size_t firstLine,
                                            InputError& error) {
    LocatedJson document;
    document.file = file;
    document.firstLine = firstLine;
    LineCounter counter(text.data(), firstLine);
    const bool hasLines = text.find('\n') != std::string_view::npos;
    DocumentBuilder builder(document, counter, hasLines, error);
    const char* const end = text.data() + text.size();
    // A document of one line need not be counted.
    const bool isParsed =
        hasLines ? json::sax_parse(CountingIterator(text.data(), counter), CountingIterator(end, counter), &builder)
                 : json::sax_parse(text.data(), end, &builder);
    if (!isParsed) {
        return std::nullopt;
    }
    return document;
}

}  // namespace ZYRA::Host

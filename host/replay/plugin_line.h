// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Reads the text of a log line from its front.
class LineReader {
public:
    explicit LineReader(std::string_view text) : text_(text) {}

    // Takes the prefix away, if the text begins with it.
    bool Take(std::string_view prefix) {
        if (!text_.starts_with(prefix)) {
            return false;
        }
        text_.remove_prefix(prefix.size());
        return true;
    }

    // Takes a decimal number away, if the text begins with one that fits.
    template <std::integral Number>
    std::optional<Number> TakeNumber() {
        Number number{};
        const auto [stop, error] = std::from_chars(text_.data(), text_.data() + text_.size(), number);
        if (error != std::errc()) {
            return std::nullopt;
        }
        text_.remove_prefix(static_cast<size_t>(stop - text_.data()));
        return number;
    }

    std::string_view Rest() const { return text_; }

private:
    std::string_view text_;
};

// What a line of the plugin's frame, its learning or its limiting says behind the name of the function that says it.
// Nothing for a line of anyone else.
std::optional<LineReader> ReadPluginLine(const LogEntry& entry);

}  // namespace ZYRA::Host

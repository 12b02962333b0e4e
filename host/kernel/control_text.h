// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace ZYRA::Host {

// The longest command that a control file takes, in bytes, its line end not counted.
constexpr size_t LONGEST_COMMAND = 8192;

// What a write to a control file asks for: the content without the one line end that is allowed after it. Nothing when
// it is no command at all: empty, too long, or with line ends or zero bytes inside.
std::optional<std::string_view> CommandText(std::string_view content);

// A whole text as a decimal number, without blanks, signs other than "-" or anything after it.
template <std::integral Number>
std::optional<Number> ParseNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

// The number of a process that exists: above 0.
std::optional<int32_t> ParsePid(std::string_view text);

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "host/replay/input_error.h"

namespace ZYRA::Host {

// A JSON document that remembers where its members stand.
struct LocatedJson {
    nlohmann::json value;
    std::string file;
    size_t firstLine = 1;
    // Line on which a member's name or an element begins, by JSON pointer; empty for a document of one line.
    std::unordered_map<std::string, size_t> lines;

    size_t LineOf(const std::string& pointer) const;
};

// Parses one whole JSON document that begins on line `firstLine` of `file`. Beyond the grammar, an object must not name
// a member twice, and nesting is bounded so that no later walk over the document can exhaust the stack.
// On failure returns nothing and fills `error`.
std::optional<LocatedJson> ParseLocatedJson(const std::string& file, std::string_view text, size_t firstLine,
                                            InputError& error);

}  // namespace ZYRA::Host

// SPDX-License-Identifier: Apache-2.0
#include "host/workload/bundle_names.h"

#include <algorithm>

namespace ZYRA::Host {

namespace {

constexpr size_t SHORTEST = 7;
constexpr size_t LONGEST = 127;

bool IsLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// "app." and the label's letters and digits; every other character, of however many bytes, becomes a "_". A name that
// is made of it leaves room for a number.
std::string NameMadeOf(std::string_view label) {
    constexpr size_t LONGEST_MADE = LONGEST - 20;
    std::string name = "app.";
    for (const char c : label) {
        const bool continuesCharacter = (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
        if (!continuesCharacter) {
            name += IsLetterOrDigit(c) ? c : '_';
        }
    }
    name.resize(std::clamp(name.size(), SHORTEST, LONGEST_MADE), '_');
    return name;
}

}  // namespace

bool IsBundleName(std::string_view text) {
    const bool isLong = text.size() >= SHORTEST && text.size() <= LONGEST;
    return isLong && IsLetterOrDigit(text.front()) && (text.front() < '0' || text.front() > '9') &&
           std::all_of(text.begin(), text.end(), [](char c) { return IsLetterOrDigit(c) || c == '_' || c == '.'; });
}

std::map<std::string, std::string> BundleNamesOf(const std::vector<std::string>& labels) {
    std::map<std::string, std::string> names;
    std::set<std::string> taken;
    // A name that is made gives way to one that stands in the log.
    for (const std::string& label : labels) {
        if (IsBundleName(label)) {
            names[label] = label;
            taken.insert(label);
        }
    }
    for (const std::string& label : labels) {
        if (names.contains(label)) {
            continue;
        }
        const std::string made = NameMadeOf(label);
        std::string name = made;
        for (size_t number = 2; !taken.insert(name).second; ++number) {
            name = made + "_" + std::to_string(number);
        }
        names[label] = name;
    }
    return names;
}

}  // namespace ZYRA::Host

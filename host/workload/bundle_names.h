// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace ZYRA::Host {

// Whether the plugin would take the text as a bundle name: 7 to 127 letters, digits, "_" and ".", the first a letter.
bool IsBundleName(std::string_view text);

// The bundle names of a log's applications, by their labels: a label that is a bundle name is its own, any other gets
// one that is made of it. No two labels have the same name.
std::map<std::string, std::string> BundleNamesOf(const std::vector<std::string>& labels);

}  // namespace ZYRA::Host

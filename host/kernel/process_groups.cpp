// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/process_groups.h"

#include <algorithm>

namespace ZYRA::Host {

std::optional<int> ProcessGroups::GroupOf(int32_t pid) const {
    for (const Place& place : places_) {
        if (place.pid == pid) {
            return place.group;
        }
    }
    return std::nullopt;
}

void ProcessGroups::Remove(int32_t pid) {
    std::erase_if(places_, [pid](const Place& place) { return place.pid == pid; });
}

void ProcessGroups::Move(int32_t pid, int group) {
    Remove(pid);
    places_.push_back({pid, group});
}

std::vector<int32_t> ProcessGroups::Members(int group) const {
    std::vector<int32_t> members;
    for (const Place& place : places_) {
        if (place.group == group) {
            members.push_back(place.pid);
        }
    }
    return members;
}

bool ProcessGroups::IsEmpty(int group) const {
    return std::none_of(places_.begin(), places_.end(), [group](const Place& place) { return place.group == group; });
}

std::string ProcessGroups::Text(int group) const {
    std::string text;
    for (const int32_t pid : Members(group)) {
        text += std::to_string(pid) + "\n";
    }
    return text;
}

}  // namespace ZYRA::Host

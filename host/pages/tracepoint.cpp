// SPDX-License-Identifier: Apache-2.0
#include "host/pages/tracepoint.h"

#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <sstream>

namespace ZYRA::Host {

namespace {

constexpr std::array<const char*, 2> USUAL_PLACES = {"/sys/kernel/tracing", "/sys/kernel/debug/tracing"};
constexpr size_t LARGEST_NUMBER = 8;

bool IsTracefs(const std::string& folder) {
    return access((folder + "/events").c_str(), R_OK) == 0;
}

// The number behind "offset:" in "offset:16;".
std::optional<size_t> NumberBehind(const std::string& line, const std::string& key) {
    const size_t at = line.find(key);
    size_t number = 0;
    if (at == std::string::npos || !(std::istringstream(line.substr(at + key.size())) >> number)) {
        return std::nullopt;
    }
    return number;
}

// The last word before the first semicolon of "field:unsigned long i_ino;	offset:16;".
std::string NameIn(const std::string& line) {
    const std::string declaration = line.substr(0, line.find(';'));
    return declaration.substr(declaration.find_last_of(" \t") + 1);
}

}  // namespace

std::string FindTracefs() {
    for (const char* place : USUAL_PLACES) {
        if (IsTracefs(place)) {
            return place;
        }
    }
    const char* const place = USUAL_PLACES.front();
    const bool isMounted = mount("tracefs", place, "tracefs", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0;
    return isMounted && IsTracefs(place) ? place : "";
}

std::optional<Tracepoint> Tracepoint::Find(const std::string& tracefs, const std::string& name) {
    const std::string folder = tracefs + "/events/" + name;
    Tracepoint tracepoint;
    if (tracefs.empty() || !(std::ifstream(folder + "/id") >> tracepoint.id_)) {
        return std::nullopt;
    }
    std::ifstream format(folder + "/format");
    for (std::string line; std::getline(format, line);) {
        const std::optional<size_t> offset = NumberBehind(line, "offset:");
        const std::optional<size_t> size = NumberBehind(line, "size:");
        if (line.find("field:") != std::string::npos && offset && size) {
            tracepoint.fields_.push_back({NameIn(line), {*offset, *size}});
        }
    }
    return tracepoint;
}

std::optional<Tracepoint::Field> Tracepoint::FieldOf(const std::string& name) const {
    for (const NamedField& one : fields_) {
        if (one.name == name && one.field.size <= LARGEST_NUMBER) {
            return one.field;
        }
    }
    return std::nullopt;
}

}  // namespace ZYRA::Host

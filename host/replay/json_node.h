// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>

#include "host/replay/located_json.h"

namespace ZYRA::Host {

// A value of a document together with its place, so that whatever reads it can say where it is wrong.
// Every reading operation throws InputFailure when the value is not what is asked for.
class JsonNode {
public:
    // Reads one member of an object.
    struct MemberReader {
        const char* name;
        std::function<void(const JsonNode& member)> read;
    };

    // The document must outlive the node.
    explicit JsonNode(const LocatedJson& document) : document_(document), value_(document.value) {}

    [[noreturn]] void Fail(const std::string& what) const;

    const nlohmann::json& Value() const { return value_; }
    bool IsNull() const { return value_.is_null(); }
    // An integer within the bounds, both allowed.
    int64_t AsInteger(int64_t lowest, int64_t highest) const;
    bool AsBoolean() const;
    const std::string& AsText() const;

    // Calls the function for each member of the object, or each element of the array.
    void ForEachMember(const std::function<void(const std::string& name, const JsonNode& member)>& visit) const;
    void ForEachElement(const std::function<void(const JsonNode& element)>& visit) const;

    // Hands each member of the object to the reader of its name; any other name is an error.
    void ReadMembers(std::initializer_list<MemberReader> readers) const;

private:
    JsonNode(const JsonNode& parent, const nlohmann::json& value, const std::string* name, size_t index)
        : document_(parent.document_), value_(value), parent_(&parent), name_(name), index_(index) {}

    // The place as a JSON pointer. Few nodes are asked for it, so none keeps it.
    std::string Pointer() const;
    // The place in front of what is wrong there.
    std::string Where() const;

    const LocatedJson& document_;
    const nlohmann::json& value_;
    const JsonNode* const parent_ = nullptr;   // None of the whole document.
    const std::string* const name_ = nullptr;  // Of a member.
    const size_t index_ = 0;                   // Of an element.
};

}  // namespace ZYRA::Host

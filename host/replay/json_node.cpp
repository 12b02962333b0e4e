// SPDX-License-Identifier: Apache-2.0
#include "host/replay/json_node.h"

#include <algorithm>

#include "host/replay/printable.h"

namespace ZYRA::Host {

std::string JsonNode::Pointer() const {
    if (parent_ == nullptr) {
        return "";
    }
    return parent_->Pointer() + '/' + (name_ == nullptr ? std::to_string(index_) : nlohmann::detail::escape(*name_));
}

std::string JsonNode::Where() const {
    return parent_ == nullptr ? "" : Printable(Pointer()) + ": ";
}

void JsonNode::Fail(const std::string& what) const {
    throw InputFailure{{document_.file, document_.LineOf(Pointer()), Where() + what}};
}

int64_t JsonNode::AsInteger(int64_t lowest, int64_t highest) const {
    const bool isTooLarge = value_.is_number_unsigned() && value_.get<uint64_t>() > static_cast<uint64_t>(INT64_MAX);
    if (!value_.is_number_integer() || isTooLarge || value_.get<int64_t>() < lowest ||
        value_.get<int64_t>() > highest) {
        Fail("must be an integer from " + std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return value_.get<int64_t>();
}

bool JsonNode::AsBoolean() const {
    if (!value_.is_boolean()) {
        Fail("must be true or false");
    }
    return value_.get<bool>();
}

const std::string& JsonNode::AsText() const {
    if (!value_.is_string()) {
        Fail("must be a text");
    }
    return value_.get_ref<const std::string&>();
}

void JsonNode::ForEachMember(const std::function<void(const std::string&, const JsonNode&)>& visit) const {
    if (!value_.is_object()) {
        Fail("must be an object");
    }
    for (const auto& [name, member] : value_.get_ref<const nlohmann::json::object_t&>()) {
        visit(name, JsonNode(*this, member, &name, 0));
    }
}

void JsonNode::ForEachElement(const std::function<void(const JsonNode&)>& visit) const {
    if (!value_.is_array()) {
        Fail("must be an array");
    }
    size_t index = 0;
    for (const nlohmann::json& element : value_) {
        visit(JsonNode(*this, element, nullptr, index++));
    }
}

void JsonNode::ReadMembers(std::initializer_list<MemberReader> readers) const {
    ForEachMember([&](const std::string& name, const JsonNode& member) {
        const auto reader =
            std::find_if(readers.begin(), readers.end(), [&](const MemberReader& known) { return known.name == name; });
        if (reader == readers.end()) {
            // The place is that of the object; the line is the member's own.
            throw InputFailure{
                {document_.file, document_.LineOf(member.Pointer()), Where() + "unknown member " + Quoted(name)}};
        }
        reader->read(member);
    });
}

}  // namespace ZYRA::Host

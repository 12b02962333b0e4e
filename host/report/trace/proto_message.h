// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ZYRA::Host {

// A protobuf message in its wire format, made field by field in the order in which they are to stand.
class ProtoMessage {
public:
    // Numbers (not of the sint types; negative ones as 64 bits), booleans and enumerators.
    void AddVarint(uint32_t field, uint64_t value);
    void AddFixed64(uint32_t field, uint64_t value);
    void AddDouble(uint32_t field, double value);
    // Bytes, or a text, which must be UTF-8.
    void AddBytes(uint32_t field, std::string_view bytes);
    void AddMessage(uint32_t field, const ProtoMessage& message) { AddBytes(field, message.bytes_); }

    const std::string& Bytes() const { return bytes_; }

private:
    enum class WireType : uint8_t { VARINT = 0, FIXED64 = 1, LENGTH_DELIMITED = 2 };

    void AppendVarint(uint64_t value);
    void AppendTag(uint32_t field, WireType type);

    std::string bytes_;
};

}  // namespace ZYRA::Host

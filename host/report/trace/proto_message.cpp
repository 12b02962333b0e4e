// SPDX-License-Identifier: Apache-2.0
#include "host/report/trace/proto_message.h"

#include <bit>

namespace ZYRA::Host {

void ProtoMessage::AddVarint(uint32_t field, uint64_t value) {
    AppendTag(field, WireType::VARINT);
    AppendVarint(value);
}

void ProtoMessage::AddFixed64(uint32_t field, uint64_t value) {
    AppendTag(field, WireType::FIXED64);
    for (int shift = 0; shift < 64; shift += 8) {
        bytes_ += static_cast<char>(value >> shift & 0xFF);
    }
}

void ProtoMessage::AddDouble(uint32_t field, double value) {
    AddFixed64(field, std::bit_cast<uint64_t>(value));
}

void ProtoMessage::AddBytes(uint32_t field, std::string_view bytes) {
    AppendTag(field, WireType::LENGTH_DELIMITED);
    AppendVarint(bytes.size());
    bytes_ += bytes;
}

// Seven bits a byte, the lowest first; the highest bit says that more follow.
void ProtoMessage::AppendVarint(uint64_t value) {
    constexpr uint64_t MORE = 0x80;
    while (value >= MORE) {
        bytes_ += static_cast<char>(value | MORE);
        value >>= 7;
    }
    bytes_ += static_cast<char>(value);
}

void ProtoMessage::AppendTag(uint32_t field, WireType type) {
    AppendVarint(uint64_t{field} << 3 | static_cast<uint64_t>(type));
}

}  // namespace ZYRA::Host

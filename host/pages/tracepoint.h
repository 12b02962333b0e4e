// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ZYRA::Host {

// Where the kernel shows its tracepoints: tracefs at one of its usual places, mounted there if it is nowhere. Call it
// in a mount namespace of the process's own. Empty when it cannot be had.
std::string FindTracefs();

// One of the kernel's tracepoints, as its description in tracefs has it, which differs between kernels.
class Tracepoint {
public:
    // `name` is group/event. Nothing where this kernel does not have it.
    static std::optional<Tracepoint> Find(const std::string& tracefs, const std::string& name);

    uint64_t Id() const { return id_; }

    // A field's place in a raw sample; false when there is no such unsigned number of up to 8 bytes.
    struct Field {
        size_t offset = 0;
        size_t size = 0;
    };
    std::optional<Field> FieldOf(const std::string& name) const;

private:
    struct NamedField {
        std::string name;
        Field field;
    };

    uint64_t id_ = 0;
    std::vector<NamedField> fields_;
};

}  // namespace ZYRA::Host

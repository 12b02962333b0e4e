// SPDX-License-Identifier: Apache-2.0
// Any line written to a monitor: what is accepted has a scene, and a record path below the record directory
// that makes up the rest of the line.

#include <cstdint>

#include "fuzz/require.h"
#include "host/kernel/scene_line.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto line = ZYRA::Host::ParseSceneLine(text);
    if (!line) {
        return 0;
    }
    const std::string rest = " " + line->scene + " " + line->recordPath;
    const bool endsWithBoth =
        text.size() > rest.size() && text.compare(text.size() - rest.size(), rest.size(), rest) == 0;
    const bool isBelowRecordDirectory = line->recordPath.starts_with(ZYRA::Host::RECORD_DIRECTORY);
    Require(!line->scene.empty() && isBelowRecordDirectory && endsWithBoth, "a scene and its record end the line");
    return 0;
}

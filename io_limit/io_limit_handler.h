#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

namespace ZYRA::ResourceSchedule {

// Why a user is on the white list: bit numbers, named after the resource types that put it there.
enum class WhitelistKind : uint32_t {
    CONTINUOUS_TASK = 0,
    RES_TYPE_12 = 1,
    RES_TYPE_3_AND_4 = 2,
    RES_TYPE_70_AND_83 = 3,
};

// Keeps background processes from the disk while the foreground needs it. For now nothing is limited. Main queue only.
class IolimitHandler {
public:
    static IolimitHandler& GetInstance();

    IolimitHandler(const IolimitHandler&) = delete;
    IolimitHandler& operator=(const IolimitHandler&) = delete;

    void HandleProcessStart(const nlohmann::json& payload);
    void HandleAppStart(const nlohmann::json& payload);
    void HandleSlideStart();
    void HandleSlideEnd();
    void HandleWhitelistInsert(const nlohmann::json& payload, WhitelistKind kind);
    void HandleWhitelistErase(const nlohmann::json& payload, WhitelistKind kind);
    void HandleContinuousBegin(const nlohmann::json& payload);
    void HandleContinuousEnd(const nlohmann::json& payload);

private:
    IolimitHandler() = default;
};

}  // namespace ZYRA::ResourceSchedule

#include "io_limit/io_limit_handler.h"

namespace ZYRA::ResourceSchedule {

IolimitHandler& IolimitHandler::GetInstance() {
    static IolimitHandler instance;
    return instance;
}

void IolimitHandler::HandleProcessStart(const nlohmann::json& /*payload*/) {}

void IolimitHandler::HandleAppStart(const nlohmann::json& /*payload*/) {}

void IolimitHandler::HandleSlideStart() {}

void IolimitHandler::HandleSlideEnd() {}

void IolimitHandler::HandleWhitelistInsert(const nlohmann::json& /*payload*/, WhitelistKind /*kind*/) {}

void IolimitHandler::HandleWhitelistErase(const nlohmann::json& /*payload*/, WhitelistKind /*kind*/) {}

void IolimitHandler::HandleContinuousBegin(const nlohmann::json& /*payload*/) {}

void IolimitHandler::HandleContinuousEnd(const nlohmann::json& /*payload*/) {}

}  // namespace ZYRA::ResourceSchedule

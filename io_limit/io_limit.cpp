#include "io_limit/io_limit.h"

namespace ZYRA::ResourceSchedule {

Iolimit& Iolimit::GetInstance() {
    static Iolimit instance;
    return instance;
}

void Iolimit::Init() {}

void Iolimit::Deinit() {}

}  // namespace ZYRA::ResourceSchedule

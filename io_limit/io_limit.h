#pragma once

namespace ZYRA::ResourceSchedule {

// Starts and stops IO limiting with the plugin. For now nothing is limited. Host threads, one at a time.
class Iolimit {
public:
    static Iolimit& GetInstance();

    Iolimit(const Iolimit&) = delete;
    Iolimit& operator=(const Iolimit&) = delete;

    void Init();
    void Deinit();

private:
    Iolimit() = default;
};

}  // namespace ZYRA::ResourceSchedule

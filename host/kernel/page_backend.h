#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::Host {

// Finds out which file pages the processes of a collection touch. Called by the model under its lock, so never twice at
// once; an implementation must not call the model.
class PageBackend {
public:
    virtual ~PageBackend() = default;

    // A collection for the scene begins on the monitor, with nothing touched; its processes follow through Attach.
    virtual void Begin(int monitor, const std::string& scene) = 0;
    // A process joins or leaves the monitor's collection. Children of a process belong to it from their start.
    virtual void Attach(int monitor, int32_t pid) = 0;
    virtual void Detach(int monitor, int32_t pid) = 0;
    // What the process has touched so far does not count any more.
    virtual void ClearYoung(int32_t pid) = 0;
    // Ends the monitor's collection. Returns how many different pages were touched.
    virtual uint64_t End(int monitor) = 0;
};

}  // namespace ZYRA::Host

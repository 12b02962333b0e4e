// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <new>

namespace ZYRA::ResourceSchedule {

// Room for a T that is created with this object and never destroyed: for process-wide objects that must be usable for
// as long as the code is mapped, also while the static objects are being destroyed. Unlike an object on the heap, one
// in static storage goes with the library, so that unloading leaks nothing. T must own nothing beyond its own bytes.
template <typename T>
class NeverDestroyed {
public:
    NeverDestroyed() { ::new (static_cast<void*>(storage_)) T(); }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& Get() { return *std::launder(reinterpret_cast<T*>(storage_)); }

private:
    alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace ZYRA::ResourceSchedule

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ZYRA::Bench {

// How many blocks the process has asked operator new for. A program that links counted_new.cpp counts those of every
// library in it, on every thread.
uint64_t Allocations();

}  // namespace ZYRA::Bench

// SPDX-License-Identifier: Apache-2.0
#pragma once

// Marks what the platform library exports. The plugin is built with hidden visibility; the classes that cross the
// library boundary carry this mark so that their type information is one and the same on both sides.
#define PLATFORM_API __attribute__((visibility("default")))

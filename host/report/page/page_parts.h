// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ZYRA::Host {

// The files of this folder, which the build turns into texts.
extern const char* const REPORT_HTML;
extern const char* const REPORT_CSS;
extern const char* const REPORT_JS;

}  // namespace ZYRA::Host

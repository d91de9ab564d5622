// The log classes under which the network reports.
#pragma once

namespace tarnwillow::detail {

/// "General Errors and Warnings": what failed.
inline constexpr long kGeneralErrors = 1;

/// "Browser": what is asked and answered.
inline constexpr long kBrowser = 17;

}  // namespace tarnwillow::detail

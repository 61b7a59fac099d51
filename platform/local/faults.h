// What a host meets of a real library and of a process that gets killed, on demand.
#pragma once

namespace platform::local {

/// Sleeps for so many seconds; not at all for a number that no delay can be.
void wait(double seconds);

/// Never returns.
[[noreturn]] void stall();

/// Ends the process as SIGKILL does.
[[noreturn]] void crash();

}  // namespace platform::local

// A SHA-256 that overlaps its caller's work: who writes a chunk and then hashes it, as an export
// does, pays for the slower of the two rather than for both.
//
// The first megabyte is digested by update() itself, so that what is small costs no thread. Then a
// thread is started, which digests copies of the bytes in the order in which they came; at most a
// megabyte waits for it, and then update() waits too. Where no thread or no memory for the copies
// can be had, update() goes on by itself: the digest is the same.
//
// The thread ends before finalize() returns, and at the latest before the object is gone. Calls may
// come from any thread, one at a time.
#pragma once

#include <memory>

#include "photos/platform.h"

namespace platform::posix {

/// `hasher` does the digesting; it is called by one thread at a time.
[[nodiscard]] std::unique_ptr<photos::SHA256> overlapped(std::unique_ptr<photos::SHA256> hasher);

}  // namespace platform::posix

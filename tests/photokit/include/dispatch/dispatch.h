// Stands in for the part of libdispatch that the helper uses.
#pragma once

#include <cstdint>

using dispatch_queue_t = struct StandInQueue*;
using dispatch_function_t = void (*)(void*);
#ifdef __BLOCKS__
using dispatch_block_t = void (^)();
#endif

inline constexpr std::intptr_t DISPATCH_QUEUE_PRIORITY_DEFAULT = 0;

extern "C" {
dispatch_queue_t dispatch_get_main_queue();
dispatch_queue_t dispatch_get_global_queue(std::intptr_t identifier, std::uintptr_t flags);
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
[[noreturn]] void dispatch_main();
}

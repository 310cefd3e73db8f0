#include "QuitFlag.h"

#include <atomic>

namespace QuitFlag {

namespace {
std::atomic<bool> raised{false};
}

bool isRaised()
{
    return raised.load(std::memory_order_relaxed);
}
void raise()
{
    raised.store(true, std::memory_order_relaxed);
}

} // namespace QuitFlag

#pragma once

// The process-wide application-is-quitting flag: raised once at termination, polled by background work so it
// stops early. It only ever goes from false to true.
namespace QuitFlag {

bool isRaised();
void raise();

} // namespace QuitFlag

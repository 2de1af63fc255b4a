#include "tools/vex/CancelWatch.h"

#include <atomic>
#include <chrono>
#include <mutex>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Platform.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using archivefile::Platform;
using Clock = std::chrono::steady_clock;

constexpr int Escape = 27;
// Reading a key switches the terminal's mode twice; a few times a second is quick enough for a
// person and costs nothing next to the work.
constexpr auto KeyPollInterval = std::chrono::milliseconds(50);

bool keysWatched = false;
std::atomic<bool> escapePressed{false};
// Workers ask from their own threads; one of them at a time reads the keys, the others go on.
std::mutex polling;
Clock::time_point lastPoll;

}  // namespace

void CancelWatch::start() {
    Platform::watchInterrupt();
    keysWatched = Platform::isTerminal(0);
}

bool CancelWatch::requested() {
    if (Platform::interruptRequested() || escapePressed) return true;
    if (!keysWatched) return false;
    const std::unique_lock lock(polling, std::try_to_lock);
    if (!lock.owns_lock()) return false;
    const Clock::time_point now = Clock::now();
    if (now - lastPoll < KeyPollInterval) return false;
    lastPoll = now;
    // Any other key is read and forgotten, so that it does not wait for the shell after vex ends.
    for (int key = Platform::pollKey(); key >= 0; key = Platform::pollKey())
        if (key == Escape) escapePressed = true;
    return escapePressed;
}

void CancelWatch::check() {
    if (requested()) archivefile::raise(archivefile::GE_UserCancelled);
}

int CancelWatch::exitStatus() {
    const int status = Platform::interruptExitStatus();
    return status != 0 ? status : Cancelled;
}

}  // namespace vex

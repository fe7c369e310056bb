#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

#include "Export.h"

namespace qrb {

/// How the host brings a function to its main thread: called with each one, on any thread; it must return without
/// having run it, or run it only on the main thread.
using MainThreadExecutor = std::function<void(std::function<void()>)>;

/// Installs the host's executor and returns the one before; empty means that the host calls drainMainQueue() instead.
/// Functions that were waiting to be drained go to the executor at once.
QRB_EXPORT MainThreadExecutor setMainThreadExecutor(MainThreadExecutor executor);

/// Brings a function to the main thread and returns without waiting for it. Any thread. The functions of one thread
/// keep their order.
QRB_EXPORT void runOnMainThread(std::function<void()> function);

/// Runs the functions that wait, and those that they add, on this thread, which thereby is the main thread; returns how
/// many. With a timeout it first waits that long for one when there is none.
QRB_EXPORT std::size_t drainMainQueue(std::chrono::milliseconds timeout = std::chrono::milliseconds(0));

}  // namespace qrb

#pragma once

#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace qrb {

/// Runs `function`; false when it was ended by a lack of memory, threads or descriptors, and then nothing else is said
/// of it. Every other exception goes on its way. This is the one place that says which exceptions mean scarcity: what
/// must not end the program for it is run through here.
template <typename Function>
bool unlessScarce(Function&& function) {
  try {
    std::forward<Function>(function)();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {
    return false;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace qrb

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "trel/trel_err.h"

namespace net_test {

/// A framework error that a test caught.
struct CaughtError {
  std::string name;     ///< type, object and value
  std::string message;  ///< /doc/error/msg
};

/// The error that `action` throws; fails the test when it throws none.
template <typename Action>
CaughtError FrameworkErrorOf(const Action& action) {
  try {
    action();
  } catch (const trel_err::Error& error) {
    return {error.type() + ": " + error.object() + ": " + error.value(),
            error.xml().GetNode("/doc/error/msg").Str()};
  }
  ADD_FAILURE() << "no error";
  return {};
}

}  // namespace net_test

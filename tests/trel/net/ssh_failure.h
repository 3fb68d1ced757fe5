#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "seam/ssh.h"

namespace net_test {

/// A failure that a test caught.
struct CaughtSsh {
  trel_seam::SshStep step{};
  std::string text;
};

/// The SshFailure that `action` throws; fails the test when it throws none.
template <typename Action>
CaughtSsh SshFailureOf(const Action& action) {
  try {
    action();
  } catch (const trel_seam::SshFailure& failure) {
    return {failure.step(), failure.what()};
  }
  ADD_FAILURE() << "no failure";
  return {};
}

}  // namespace net_test

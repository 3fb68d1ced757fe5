#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>

/// The main program of tests against a real sshd.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (geteuid() != 0 && !GTEST_FLAG_GET(list_tests)) {
    std::cout << "skipped: only root can let sshd log somebody in\n";
    return 77;
  }
  return RUN_ALL_TESTS();
}

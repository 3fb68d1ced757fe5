#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // Thousands of small files: in memory, where there is such a place.
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 0);
  return RUN_ALL_TESTS();
}

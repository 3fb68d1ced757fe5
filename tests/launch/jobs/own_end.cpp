#include <csignal>

#include "trel/trel_proc.h"

/// Is told to end by the signal that its argument names, and returns the status of a child that it
/// starts afterwards.
extern "C" int vormain(int, char** argv) {
  raise(str::Int(argv[1]));
  return trel_proc::Execute("exit 3", 6).Result();
}

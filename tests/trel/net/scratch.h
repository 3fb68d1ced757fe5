#pragma once

#include "support/scratch.h"
#include "support/shell.h"

namespace net_test {

using support::ModeOf;
using support::ReadFile;
using support::Scratch;
using support::Shell;

}  // namespace net_test

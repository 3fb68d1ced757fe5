#include "tarvin/tarvin_bin.h"

namespace tarvin_bin {

void Import4::LoadRemoteDatabases(bool /*import*/) {}

}  // namespace tarvin_bin

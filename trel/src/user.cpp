#include "trel/trel_user.h"

#include "seam/seam.h"
#include "trel/trel_err.h"

std::string trel_user::GetHome(const std::string& name) {
  if (const auto home = trel_seam::Current().host->HomeOf(name)) return *home;
  throw trel_err::Error("missed", "user", name, "there is no user '" + name + "' on this host");
}

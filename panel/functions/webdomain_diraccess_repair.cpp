#include <filesystem>

#include "panel/account.h"
#include "panel/error.h"
#include "panel/functions/functions.h"
#include "panel/text.h"
#include "trel/trel_proc.h"

namespace panel::functions {
namespace {

// "/" would take in every path of the source, not only those of the home.
std::string RemoteHome(const Form& form) {
  std::string home = form.Require("remotehomedir");
  const std::filesystem::path path = std::filesystem::path(home).lexically_normal();
  if (!path.is_absolute() || path.relative_path().empty()) {
    throw BadValue("remotehomedir", home, "the absolute path of a home directory");
  }
  return home;
}

}  // namespace

void WebdomainDiraccessRepair(const Context& context, Reply& reply) {
  const User user = context.state.users.Require(context.form.Require("user"));
  std::vector<std::string> command = {"/proc/self/exe", "repair-web-tree",
                                      "--remote-home=" + RemoteHome(context.form)};
  if (context.form.Flag("overwrite")) {
    command.push_back("--overwrite");
  }
  command.insert(command.end(), {"--", account::Require(user.name).name});
  trel_proc::Execute repair(
      command, trel_proc::Execute::kCaptureOutput | trel_proc::Execute::kCaptureErrors);
  const int status = repair.Result();
  const std::string output = str::Trim(repair.Str());
  if (status != 0) {
    throw Error("system", "diraccess", user.name,
                "web directories of user '" + user.name + "': status " + std::to_string(status) +
                    ": " + OneLine(output));
  }
  reply.Add("repaired", output);
}

}  // namespace panel::functions

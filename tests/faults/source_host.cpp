// The source host: what root's commands find and change there.

#include "faults/world.h"

namespace faults {
namespace {

constexpr char kPasswd[] =
    "root:x:0:0:root:/root:/bin/bash\n"
    "user1:x:1001:1001::/home/user1:/bin/bash\n"
    "virtuser_box:x:1002:1001::/home/user1/email/box:/sbin/nologin\n"
    "user2:x:1003:1003::/home/user2:/bin/bash\n";

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

/// Commands around the user's authorized_keys; none when it is no such command.
std::optional<Ending> ChangeKeys(State& state, const std::string& command,
                                 const std::string& input) {
  auto& keys = state.authorized_keys;
  if (Has(command, "'cat ~/.ssh/authorized_keys'")) {
    return keys ? Ending{*keys, 0} : Ending{"", 1};
  }
  if (Has(command, "chown -R root:root /home/user1/.ssh")) {
    state.ssh_owner = "root";
  } else if (Has(command, "cat >> /home/user1/.ssh/authorized_keys")) {
    keys = keys.value_or("") + input;
  } else if (Has(command, "chown -R user1:user1 /home/user1/.ssh")) {
    state.ssh_owner = kUser;
  } else if (Has(command, "'cat > ~/.ssh/authorized_keys'")) {
    keys = input;
  } else if (Has(command, "'rm -f ~/.ssh/authorized_keys'")) {
    keys.reset();
  } else {
    return std::nullopt;
  }
  return Ending{};
}

}  // namespace

Ending RunAtSource(World& world, const std::string& command, const std::string& input) {
  if (const auto ending = ChangeKeys(world.state, command, input)) return *ending;
  if (command == "uname -a") return {"Linux src 6.1\n", 0};
  if (command == "uname") return {"Linux\n", 0};
  if (command == "cat /etc/passwd") return {kPasswd, 0};
  if (command == "test -e " || Has(command, "mkdir -p /home/user1/.ssh") ||
      Has(command, "chmod -f 0600 /home/user1/.ssh/authorized_keys") ||
      Has(command, "find /home/user1/email/box -type ")) {
    return {};
  }
  if (command == "/bin/sh -c 'echo ~user1'") return {"/home/user1\n", 0};
  world.Trespass("the source host is told: " + command);
  return {};
}

}  // namespace faults

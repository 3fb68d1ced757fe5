#include "support/seam.h"

namespace support {

std::string ScriptedHost::Random(std::size_t count) {
  while (random.size() < count) random += next_++;
  const std::string bytes = random.substr(0, count);
  random.erase(0, count);
  return bytes;
}

std::optional<std::string> ScriptedHost::HomeOf(const std::string& name) {
  const auto home = homes.find(name);
  if (home == homes.end()) return std::nullopt;
  return home->second;
}

trel_seam::HttpReply ScriptedPanel::Post(const trel_seam::HttpPost& post) {
  posts.push_back(post);
  if (!failure.empty()) throw trel_seam::HttpFailure(failure);
  return reply;
}

int ScriptedPanel::Get(const std::string&, int, const std::function<void(std::string_view)>&) {
  throw trel_seam::HttpFailure("this panel has no files");
}

void KeptLog::Write(int level, std::string_view module, std::string_view message) noexcept {
  lines.push_back(std::to_string(level) + " " + std::string(module) + " " + std::string(message));
}

std::string ErrorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const trel_err::Error& error) {
    return error.what();
  }
  return "nothing thrown";
}

}  // namespace support

#include "faults/call.h"

#include <sstream>

#include "trel/str.h"

namespace faults {

std::string NameOf(Channel channel) {
  switch (channel) {
    case Channel::kSourcePanel:
      return "source panel";
    case Channel::kLocalPanel:
      return "local panel";
    case Channel::kDump:
      return "dump";
    case Channel::kMailSsh:
      return "source host, mail rights";
    case Channel::kCopySsh:
      return "source host, copy";
    case Channel::kChild:
      return "child process";
    case Channel::kFile:
      break;
  }
  return "file";
}

std::string Describe(const Call& call) {
  const std::string text = NameOf(call.channel) + ": " + call.key;
  return call.object.empty() ? text : text + " [" + call.object + "]";
}

namespace {

std::string WriteCall(const Call& call, std::size_t behind) {
  return std::to_string(static_cast<int>(call.channel)) + "\t" + std::to_string(behind) + "\t" +
         call.key + "\t" + call.object + "\n";
}

}  // namespace

std::string WriteCalls(const Calls& calls) {
  std::string text;
  for (const auto& call : calls.calls) text += WriteCall(call, 0);
  for (const auto& file : calls.files) text += WriteCall(file.call, file.behind);
  return text;
}

Calls ReadCalls(const std::string& text) {
  Calls calls;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    Call call{};
    call.channel = static_cast<Channel>(str::Int(str::GetWord(line, "\t")));
    const auto behind = static_cast<std::size_t>(str::Int(str::GetWord(line, "\t")));
    call.key = str::GetWord(line, "\t");
    call.object = line;
    if (call.channel == Channel::kFile) {
      calls.files.push_back({call, behind});
    } else {
      calls.calls.push_back(call);
    }
  }
  return calls;
}

}  // namespace faults

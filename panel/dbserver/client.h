#pragma once

#include <sys/types.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "panel/account.h"
#include "panel/descriptor.h"

namespace panel::dbserver {

/// How a program of a database server is run.
struct ClientCommand {
  std::vector<std::string> arguments;
  /// NAME=VALUE, besides PATH and a locale; the place for passwords.
  std::vector<std::string> environment;
  /// The account of this host whose rights it gets; ours when there is none.
  std::optional<account::Account> account;
};

/// A program that reads a dump from standard input or writes one to standard output. It gets
/// nothing else of ours, ends when we do, and is ended with this object.
class Client {
 public:
  enum class Pipe { kInput, kOutput };

  /// Starts it with that one of its standard files ours and the other one empty. Throws Error
  /// "system" when it cannot be started.
  Client(const ClientCommand& command, Pipe pipe);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// Gives it bytes to read. False when it reads no more.
  bool Write(std::string_view bytes);
  /// Waits for bytes that it writes; 0 at the end of them.
  std::size_t Read(std::span<char> buffer);
  /// Ends its input and waits for it. Throws Error "system" about `object` unless it ended with
  /// status 0: `what`, how it ended, and what it wrote to standard error, of much the end.
  void Finish(const std::string& object, const std::string& what);

 private:
  void Spawn(const ClientCommand& command, int input, int output, int errors);
  int Wait();

  std::string name_;
  Descriptor pipe_;
  pid_t pid_ = -1;
  std::string words_;
  std::jthread listener_;
};

}  // namespace panel::dbserver

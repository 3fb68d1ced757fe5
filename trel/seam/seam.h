#pragma once

#include <memory>

#include "seam/host.h"
#include "seam/http.h"
#include "seam/process.h"
#include "seam/ssh.h"
#include "trel/export.h"

/// The one place where bytes leave the process. Everything above it (encoding, XML, error mapping)
/// runs unchanged on the real bodies and on the scripted ones that tests install.
namespace trel_seam {

/// The bodies in use. None is ever null.
struct Seam {
  std::shared_ptr<Http> http;
  std::shared_ptr<Ssh> ssh;
  std::shared_ptr<Processes> processes;
  std::shared_ptr<Host> host;
  /// Empty: the log file that trel_log::Init opens.
  std::shared_ptr<LogSink> log;
};

/// The seam in use, with the real bodies unless a test installed others. Tests change it before
/// the code under test runs; it is not guarded against threads.
TREL_EXPORT Seam& Current();

/// The real bodies, each made anew.
TREL_EXPORT std::shared_ptr<Http> MakeHttp();
TREL_EXPORT std::shared_ptr<Ssh> MakeSsh();
TREL_EXPORT std::shared_ptr<Processes> MakeProcesses();
TREL_EXPORT std::shared_ptr<Host> MakeHost();

}  // namespace trel_seam

#pragma once

#include <filesystem>
#include <string>

namespace transcript {

/// What came of a transcript.
struct Outcome {
  std::string expected;
  std::string happened;
};

/// Runs the transcript `file` in a process and a folder of its own, so that whatever ends the
/// process ends no other test. What can be run:
///
///     vormain [ARG...]     the job; without ARGs, with a parameters file that holds what is given
///     sync [twice]         SyncUserFiles between the ends that `set src.*` and `set dst.*`
///     query, session       RemoteQuery, GetAuthID, with `set url`, `auth`, `query`, `username`
///     remotecmd            ExecuteRemoteRootCommand of `set command` with `set input`
///     problem              RegisterProblem of `set id`, `object`, `info` and each `set param.KEY`
///     error                GetError of what the local panel answers to `set query`
///     options NAME...      which of these TrelOptionSet has
///     params               BinParams::Get of `set file`
///     detalize             Detalize of `set list`; lines "params" show FillParamsMap of its first
///     inventory [twice]    GetLocalDBInfo for `set username`
///     server               GetServerNameByType in `set document` of `set type`
///     servertype TYPE     ConvertDBType
///     certificates         the certificate step of generation 5
///     mb2md USER SRC DST, maildir DIR, install PACKAGE, info PACKAGE
///
/// Besides what goes out, the story tells what the call printed, returned or threw ("throws" for an
/// error of the framework, "breaks" for any other), whether the process was ended ("terminate"),
/// and of each file that a line "there FILE" or "gone FILE" names which of the two it is.
Outcome Run(const std::filesystem::path& file);

}  // namespace transcript

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "faults/call.h"
#include "seam/process.h"
#include "trel/str.h"

/// Which call a request is. `before`: the calls so far.
namespace faults {

Call NameQuery(Channel channel, const StringMap& query, const std::vector<Call>& before);
Call NameDump(const std::string& url);
Call NameCommand(Channel channel, const std::string& command);
Call NameChild(const trel_seam::ProcessRequest& request);

/// None for a file that is no matter of the job's.
std::optional<Call> NameFile(const std::string& operation, const std::string& path,
                             const std::vector<FileCall>& before);

}  // namespace faults

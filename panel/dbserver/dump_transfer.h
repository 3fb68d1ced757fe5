#pragma once

#include <memory>
#include <string>

#include "panel/dbserver/client.h"
#include "panel/dbserver/dump_filter.h"
#include "panel/dbserver/dump_stream.h"

namespace panel::dbserver {

/// What the last lines of a whole dump hold.
inline constexpr const char* kMariadbDumpEnd = "-- Dump completed";
inline constexpr const char* kPostgresDumpEnd = "-- PostgreSQL database dump complete";

/// Throws Error "system" unless the file behind descriptor `dump` ends with a line that begins with
/// `end`, but for comments, blank lines and commands of the client behind it.
void RequireWhole(int dump, const std::string& end);

/// Runs `command` with the file behind descriptor `dump` as its input, through `filter`, from the
/// file's beginning. Throws like Client::Finish.
void Transfer(int dump, DumpFilter& filter, const ClientCommand& command, const std::string& what);

/// The output of `command` as a dump.
std::unique_ptr<DumpStream> StartDump(const ClientCommand& command, const std::string& what);

}  // namespace panel::dbserver

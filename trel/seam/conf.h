#pragma once

#include <string>

#include "trel/export.h"
#include "trel/str.h"

namespace trel_seam {

/// The platform's configuration.
struct Conf {
  std::string local_socket = "/run/vortrel/panel.sock";
  std::string log_dir = "/var/log/vortrel";
  std::string ca_file;  ///< empty: the system's certificates
  StringMap pins;       ///< "host:port" to "sha256//..."
  std::string known_hosts = "/var/lib/vortrel/known_hosts";
  bool strict_host_keys = false;
};

/// Reads the file that TREL_CONF names, else /etc/vortrel/trel.toml; without that default file all
/// values are the defaults. Throws trel_err::Error "conf" whose value names file, line and key: a
/// missing named file, a text that is not TOML, an unknown key, a value of the wrong kind.
TREL_EXPORT Conf ReadConf();

/// The configuration of this process, read on first use and kept; throws as ReadConf.
TREL_EXPORT const Conf& Configuration();

}  // namespace trel_seam

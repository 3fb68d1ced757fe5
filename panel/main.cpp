#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>

#include "panel/commands.h"
#include "panel/database_commands.h"
#include "panel/text.h"

namespace {

using panel::ListenAddress;
namespace commands = panel::commands;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

// All that the command line can say, and what to run for it.
struct CommandLine {
  CLI::App app{"A small hosting panel for demonstrations and tests"};
  std::string state;
  std::string name;
  std::string shell;
  std::string side;
  std::string generation;
  std::string remote_home;
  std::vector<std::string> listen;
  bool overwrite = false;
  std::string server;
  std::string owner;
  std::string type;
  std::string contype;
  std::string host = "localhost";
  std::string value;
  std::vector<std::string> databases;
  commands::ServeOptions serve;
  commands::CertificateOptions certificate;
  std::function<void()> run;

  CLI::App* Command(CLI::App& parent, const char* command, const char* description,
                    std::function<void()> action) {
    CLI::App* added = parent.add_subcommand(command, description);
    added->parse_complete_callback([this, action = std::move(action)] { run = action; });
    return added;
  }

  void AddState(CLI::App* command) {
    command->add_option("--state", state, "The panel's state file")->required()->type_name("FILE");
  }
};

void RequireListen(const CommandLine& line) {
  const bool source = line.side == "source";
  if (source && line.listen.empty()) {
    throw CLI::RequiredError("--side source: --listen");
  }
  if (!source && !line.listen.empty()) {
    throw CLI::ValidationError("--listen", "the local side serves a socket alone");
  }
  if (source && !line.serve.plain && (line.serve.cert.empty() || line.serve.key.empty())) {
    throw CLI::RequiredError("--cert and --key, or --plain");
  }
}

void Serve(CommandLine& line) {
  RequireListen(line);
  line.serve.role.side = line.side == "local" ? panel::Side::kLocal : panel::Side::kSource;
  line.serve.role.generation =
      line.generation == "4" ? panel::Generation::k4 : panel::Generation::k5;
  line.serve.state = line.state;
  for (const std::string& address : line.listen) {
    try {
      line.serve.listen.push_back(ListenAddress::Parse(address));
    } catch (const std::invalid_argument& error) {
      throw CLI::ValidationError("--listen", error.what());
    }
  }
  commands::Serve(line.serve);
}

void AddServe(CommandLine& line) {
  CLI::App* serve =
      line.Command(line.app, "serve", "Serves until SIGTERM or SIGINT", [&line] { Serve(line); });
  line.AddState(serve);
  serve->add_option("--side", line.side, "Which panel is played")
      ->required()
      ->check(CLI::IsMember({"local", "source"}));
  serve->add_option("--generation", line.generation, "Its generation")
      ->required()
      ->check(CLI::IsMember({"4", "5"}));
  line.serve.socket = "/run/vortrel/panel.sock";
  CLI::Option* listen = serve->add_option("--listen", line.listen, "Address of the source side")
                            ->type_name("ADDR:PORT");
  serve->add_option("--socket", line.serve.socket, "Socket of the local side")
      ->capture_default_str()
      ->type_name("PATH")
      ->excludes(listen);
  serve->add_option("--account", line.serve.account, "The one account besides root to be let in")
      ->type_name("NAME")
      ->excludes(listen);
  serve->add_option("--cert", line.serve.cert, "Certificate, PEM")
      ->type_name("FILE")
      ->needs(listen);
  serve->add_option("--key", line.serve.key, "Its private key, PEM")
      ->type_name("FILE")
      ->needs(listen);
  serve->add_flag("--plain", line.serve.plain, "HTTP in place of HTTPS")->needs(listen);
  serve->add_flag_callback(
      "--without-letsencrypt", [&line] { line.serve.role.letsencrypt = false; },
      "Leaves the letsencrypt plugin out");
  serve->add_option("--mysql-socket", line.serve.endpoints.mysql_socket, "Socket of MariaDB")
      ->capture_default_str()
      ->type_name("PATH");
  serve
      ->add_option("--pgsql-socket", line.serve.endpoints.pgsql_socket,
                   "Directory of PostgreSQL's socket")
      ->capture_default_str()
      ->type_name("DIR");
  serve->add_option("--pgsql-port", line.serve.endpoints.pgsql_port, "PostgreSQL's port")
      ->capture_default_str()
      ->check(CLI::Range(1, 65535));
}

void AddUsers(CommandLine& line) {
  CLI::App* user = line.app.add_subcommand("user", "Users of the panel");
  CLI::App* add = line.Command(*user, "add", "Registers an account of this host", [&line] {
    commands::AddUser(line.state, line.name,
                      line.shell.empty() ? std::nullopt : std::optional(line.shell == "on"));
  });
  line.AddState(add);
  add->add_option("NAME", line.name, "Name of the account")->required();
  add->add_option("--shell", line.shell, "Its login shell")->check(CLI::IsMember({"on", "off"}));
  line.AddState(line.Command(*user, "list", "Prints the users",
                             [&line] { commands::ListUsers(line.state); }));
}

void AddCertificates(CommandLine& line) {
  using Kind = panel::Certificate::Kind;
  CLI::App* cert = line.app.add_subcommand("cert", "Certificates of users");
  CLI::App* add = line.Command(*cert, "add", "Gives a user a certificate with new keys",
                               [&line] { AddCertificate(line.state, line.certificate); });
  line.AddState(add);
  add->add_option("USER", line.certificate.user, "Its owner")->required();
  add->add_option("NAME", line.certificate.name, "Its name in the panel")->required();
  add->add_option("DOMAIN", line.certificate.domain, "The domain that it is for")->required();
  add->add_option("--alias", line.certificate.aliases, "A further domain")->allow_extra_args(false);
  add->add_option("--kind", line.certificate.kind, "Where it comes from and how far it is")
      ->transform(CLI::CheckedTransformer(std::map<std::string, Kind>{
          {"issued", Kind::kIssued},
          {"verifying", Kind::kVerifying},
          {"norenew", Kind::kNoRenew},
          {"plain", Kind::kPlain},
      }));
  line.AddState(line.Command(*cert, "list", "Prints the certificates",
                             [&line] { commands::ListCertificates(line.state); }));
}

void AddDatabaseServers(CommandLine& line) {
  CLI::App* server = line.app.add_subcommand("dbserver", "Database servers of the panel");
  CLI::App* add = line.Command(*server, "add", "Registers a database server", [&line] {
    commands::AddDatabaseServer(line.state, line.name, line.type, line.contype, line.host);
  });
  line.AddState(add);
  add->add_option("NAME", line.name, "Name for the server")->required();
  add->add_option("TYPE", line.type, "mysql or pgsql")
      ->required()
      ->check(CLI::IsMember({"mysql", "pgsql"}));
  add->add_option("--contype", line.contype, "How it is reached")
      ->required()
      ->check(CLI::IsMember({"local", "remote"}));
  add->add_option("--host", line.host, "Where it runs")->capture_default_str();
  line.AddState(line.Command(*server, "list", "Prints the database servers",
                             [&line] { commands::ListDatabaseServers(line.state); }));
}

// What a database and a database user are registered with.
void AddHosted(CommandLine& line, CLI::App* add) {
  line.AddState(add);
  add->add_option("--server", line.server, "Its database server")->required()->type_name("NAME");
  add->add_option("NAME", line.name, "Its name on the server")->required();
  add->add_option("OWNER", line.owner, "User of the panel")->required();
}

void AddDatabases(CommandLine& line) {
  CLI::App* db = line.app.add_subcommand("db", "Databases of the panel");
  AddHosted(line, line.Command(*db, "add", "Registers a database that is there already", [&line] {
    commands::AddDatabase(line.state, line.server, line.name, line.owner);
  }));
  line.AddState(line.Command(*db, "list", "Prints the databases and their users",
                             [&line] { commands::ListDatabases(line.state); }));
  CLI::App* dbuser = line.app.add_subcommand("dbuser", "Database users of the panel");
  CLI::App* add =
      line.Command(*dbuser, "add", "Registers a database user that is there already", [&line] {
        commands::AddDatabaseUser(line.state, line.server, line.name, line.owner, line.databases);
      });
  AddHosted(line, add);
  add->add_option("--database", line.databases, "What it works with, in place of all of the owner")
      ->type_name("NAME");
}

void AddOptions(CommandLine& line) {
  CLI::App* option = line.app.add_subcommand("option", "Options of the panel");
  CLI::App* set = line.Command(*option, "set", "Switches an option", [&line] {
    commands::SetOption(line.state, line.name, line.value == "on");
  });
  line.AddState(set);
  set->add_option("NAME", line.name, "Name of the option")->required();
  set->add_option("VALUE", line.value, "on or off")
      ->required()
      ->check(CLI::IsMember({"on", "off"}));
}

void AddLists(CommandLine& line) {
  CLI::App* session = line.Command(line.app, "session", "Prints a new session key",
                                   [&line] { commands::OpenSession(line.state, line.name); });
  line.AddState(session);
  session->add_option("NAME", line.name, "Its user, in place of the administrator");
  line.AddState(line.Command(line.app, "problems", "Prints the registered problems",
                             [&line] { commands::ListProblems(line.state); }));
  line.AddState(line.Command(line.app, "calls", "Prints the called functions",
                             [&line] { commands::ListCalls(line.state); }));
}

// Not for people: the panel starts it to work on a user's files with that user's rights.
void AddRepair(CommandLine& line) {
  CLI::App* repair = line.Command(line.app, "repair-web-tree", "", [&line] {
    commands::RepairWebTreeOf(line.name, line.remote_home, line.overwrite);
  });
  repair->group("");
  repair->add_option("NAME", line.name)->required();
  repair->add_option("--remote-home", line.remote_home)->required();
  repair->add_flag("--overwrite", line.overwrite);
}

int Fail(int status, const std::string& message) {
  std::cerr << "refpanel: " << message << "\n";
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine line;
  line.app.name("refpanel");
  AddServe(line);
  AddUsers(line);
  AddCertificates(line);
  AddDatabaseServers(line);
  AddDatabases(line);
  AddOptions(line);
  AddLists(line);
  AddRepair(line);
  try {
    line.app.parse(argc, argv);
    if (!line.run) {
      return Fail(kUsage, "no command given (see --help)");
    }
    line.run();
    return 0;
  } catch (const CLI::CallForHelp& help) {
    return line.app.exit(help);
  } catch (const CLI::Error& error) {
    return Fail(kUsage, panel::OneLine(error.what()));
  } catch (const std::exception& error) {
    return Fail(kFailed, error.what());
  }
}

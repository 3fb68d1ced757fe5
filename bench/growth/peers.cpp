#include "growth/peers.h"

#include <fstream>
#include <map>

namespace bench {
namespace {

using Answers = std::map<std::string, std::string, std::less<>>;

std::string Doc(const std::string& content) {
  return R"(<?xml version="1.0" encoding="UTF-8"?><doc>)" + content + "</doc>";
}

/// Names of one length: the objects of a large account are no longer than those of a small one.
std::string Numbered(const std::string& name, std::size_t number) {
  return name + std::to_string(1'000'000 + number);
}

std::string List(std::size_t count, const std::function<std::string(std::size_t)>& element) {
  std::string list;
  for (std::size_t i = 0; i < count; ++i) list += "<elem>" + element(i) + "</elem>";
  return Doc(list);
}

std::string Servers() {
  return List(2, [](std::size_t i) {
    const std::string name = i == 0 ? "mysql" : "pgsql";
    return "<name>" + name + "</name><type>" + name +
           "</type><contype>local</contype><host>localhost</host>";
  });
}

std::string Database4(std::size_t i) {
  const auto name = Numbered("mover_d", i);
  return "<name>" + name + "</name><dbkey>mysql-&gt;" + name +
         "</dbkey><dbtype>mysql</dbtype><size>17</size>";
}

std::string Database5(std::size_t i) {
  const auto name = Numbered("mover_d", i);
  return "<name>" + name + "</name><pair>" + name +
         "-&gt;mysql</pair><server>mysql</server><owner>mover</owner>";
}

std::string User(std::size_t i) {
  return "<name>" + Numbered("mover_u", i) + "</name>";
}

/// The description that a form has with it, as long as a real one.
std::string Description() {
  std::string fields;
  for (const char* name :
       {"username", "password", "confirm", "remote_access", "addr_list", "select", "insert",
        "update", "delete", "create", "drop", "alter", "index", "grant", "references", "lock"}) {
    fields += std::string("<field name=\"") + name + "\"><input name=\"" + name +
              "\" type=\"checkbox\"/></field>";
  }
  return "<metadata name=\"db.users.edit\"><form><page>" + fields +
         "</page></form></metadata><messages name=\"db.users.edit\"/>";
}

std::string Form4() {
  std::string rights;
  for (const char* name : {"select", "insert", "update", "delete", "create", "drop", "alter",
                           "index", "grant", "references", "lock"}) {
    rights += std::string("<") + name + "_priv>on</" + name + "_priv>";
  }
  return Doc(
      "<dbusername>mover_user</dbusername>"
      "<dbuserhash>*0D3CED9BEC10A777AEC23CCC353A8C08A633045E</dbuserhash>"
      "<dbuserhostfrom>10.99.0.2</dbuserhostfrom>" +
      rights + Description());
}

/// Answers by the name of the function alone.
class Panel : public trel_seam::Http {
 public:
  explicit Panel(const Account& account)
      : source_{{"user.edit",
                 Doc("<elid>mover</elid><shell>on</shell><limit_shell>on</limit_shell>")},
                {"auth", Doc("<auth>8ab9d3e672f30551fdb0dc17108e31f4</auth>")},
                {"db.server", Servers()},
                {"db", List(account.databases, account.generation == "4" ? Database4 : Database5)},
                {"db.users", List(account.users, User)},
                {"db.users.edit", account.generation == "4" ? Form4() : UserForm()}},
        local_{{"optionlist.edit", Doc("<value>off</value>")}, {"db.server", Servers()}} {}

  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override {
    const auto& answers = post.socket.empty() ? source_ : local_;
    const std::string_view body = post.body;
    const auto name = body.substr(5, body.find('&') - 5);  // behind "func="
    const auto answer = answers.find(name);
    return {200, answer != answers.end() ? answer->second : nothing_};
  }

  int Get(const std::string&, int, const std::function<void(std::string_view)>& sink) override {
    sink(dump_);
    return 200;
  }

 private:
  const Answers source_;
  const Answers local_;
  const std::string nothing_ = Doc("<ok/>");
  const std::string dump_ = "CREATE TABLE t (n INT);\n";
};

class Connection : public trel_seam::SshConnection {
 public:
  explicit Connection(const std::string& passwd) : passwd_(passwd) {}
  void Start(const std::string& command) override { wants_passwd_ = command == "cat /etc/passwd"; }
  trel_seam::SshOutcome Finish(const std::string&, bool) override {
    return {wants_passwd_ ? passwd_ : "", 0};
  }

 private:
  const std::string& passwd_;
  bool wants_passwd_ = false;
};

class Host : public trel_seam::Ssh {
 public:
  explicit Host(const std::string& passwd) : passwd_(passwd) {}
  std::unique_ptr<trel_seam::SshConnection> Connect(const trel_seam::SshTarget&) override {
    return std::make_unique<Connection>(passwd_);
  }

 private:
  const std::string passwd_;
};

/// Every program does well; ssh-keygen leaves its public key.
class Programs : public trel_seam::Processes {
 public:
  trel_seam::ProcessOutcome Run(const trel_seam::ProcessRequest& request) override {
    const auto& command = request.arguments.back();
    if (command.rfind("ssh-keygen", 0) == 0)
      std::ofstream(command.substr(command.rfind(' ') + 1) + ".pub") << "key\n";
    return {};
  }
};

}  // namespace

std::string UserForm() {
  std::string rights;
  for (const char* name : {"select", "insert", "update", "delete", "create", "drop", "alter",
                           "index", "references", "lock"}) {
    rights += std::string("<") + name + ">on</" + name + ">";
  }
  return Doc(
      "<plid>mover_d-&gt;mysql</plid><elid>mover_u</elid><hash>on</hash>"
      "<password>*0D3CED9BEC10A777AEC23CCC353A8C08A633045E</password>"
      "<confirm>*0D3CED9BEC10A777AEC23CCC353A8C08A633045E</confirm>" +
      rights + Description());
}

void InstallPeers(const Account& account) {
  auto& seam = trel_seam::Current();
  seam.http = std::make_shared<Panel>(account);
  seam.ssh = std::make_shared<Host>(account.passwd);
  seam.processes = std::make_shared<Programs>();
}

std::string ParametersOf(const Account& account, const std::string& home) {
  return "remote_type = vortrel" + std::string(account.generation == "4" ? "4" : "5lite") +
         "\nusername = mover\nurl = https://src.example:1500/\nservername = src.example\n"
         "root_auth = key\nlang = en\nlogin = root\npassword = c2VjcmV0\nssh_port = 22\n"
         "mysql_server = mysql\npgsql_server = pgsql\nimport_databases = on\nimport_files = " +
         (account.passwd.empty() ? "off" : "on") + "\nuserhomedir = " + home +
         "\nremotehomedir = /home/mover\n";
}

std::string ListOfSize(std::size_t size) {
  std::string list;
  for (std::size_t i = 0; list.size() < size; ++i) list += "<elem>" + Database5(i) + "</elem>";
  return Doc(list);
}

}  // namespace bench

// Lists of databases and their users: the inventory asks for the users of the user's own databases
// alone, each by its own key.

#include "fuzz/fuzz.h"
#include "support/seam.h"
#include "tarvin/tarvin_bin.h"
#include "trel/trel_err.h"
#include "trel/trel_xml.h"

namespace {

/// The job's base, whose end changes nothing: there is no user to put back.
class Job : public tarvin_bin::ImportAbstract {
 public:
  Job() : ImportAbstract({{"username", "user1"}, {"user_disabled", "on"}}, "") {}
  int Run() override { return 0; }
};

/// Gives the list of databases, then that of users for each of them.
class Lists : public support::ScriptedPanel {
 public:
  Lists(const std::string& databases, const std::string& users)
      : databases_(databases), users_(users) {}
  trel_seam::HttpReply Post(const trel_seam::HttpPost& post) override {
    posts.push_back(post);
    return {200, posts.size() == 1 ? databases_ : users_};
  }

 private:
  std::string databases_;
  std::string users_;
};

using Databases = std::map<std::string, tarvin_bin::DBInfo>;

void CheckQueries(const trel_xml::Xml& list, const std::vector<trel_seam::HttpPost>& posts,
                  const Databases& found) {
  ALWAYS(posts.at(0).body == "func=db");
  std::size_t asked = 1;
  for (const auto& element : list.GetNodes("/doc/elem")) {
    ALWAYS(found.count(element.FindNode("name").Str()) == 1);
    if (element.FindNode("owner").Str() != "user1") continue;
    constexpr std::string_view kFunction = "func=db.users&elid=";
    const auto& query = posts.at(asked++).body;
    ALWAYS(query.starts_with(kFunction));
    const auto elid = std::string_view(query).substr(kFunction.size());
    ALWAYS(elid.find('&') == std::string_view::npos);
    ALWAYS(fuzz::PercentDecoded(elid) == element.FindNode("pair").Str());
  }
  ALWAYS(asked == posts.size());
}

}  // namespace

/// The list of databases, then the list of users that the panel gives for each.
void fuzz::Try(std::string_view input) {
  const auto databases_text = Part(input);
  const auto panel = std::make_shared<Lists>(databases_text, std::string(input));
  trel_seam::Current().http = panel;
  Databases databases;
  std::map<std::string, std::set<std::string>> users;
  try {
    Job().GetLocalDBInfo(databases, users);
  } catch (const trel_err::Error&) {
    return;
  }
  CheckQueries(trel_xml::Xml::Parse(databases_text), panel->posts, databases);
}

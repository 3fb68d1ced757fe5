#include "trel/trel_client.h"

#include <algorithm>

#include "seam/conf.h"
#include "seam/seam.h"
#include "trel/trel_err.h"
#include "url_place.h"
#include "wipe.h"

namespace trel_client {
namespace {

std::string& Language() {
  static std::string language;
  return language;
}

/// True when one of the query's fields is "sok=ok".
bool Submits(std::string_view query) {
  while (!query.empty()) {
    if (str::GetWord(query, "&") == "sok=ok") return true;
  }
  return false;
}

/// A post whose body, which holds keys and passwords, does not outlive the exchange.
struct SecretPost : trel_seam::HttpPost {
  ~SecretPost() { Wipe(body); }
};

SecretPost MakePost(const std::string& query) {
  SecretPost post;
  post.body = query;
  post.language = Language();
  post.at_most_once = Submits(query);
  return post;
}

/// Sends `post` and reads the reply as a document with the root `doc`. Throws HttpFailure, with a
/// text that begins with the place, for everything that is no such document.
trel_xml::Xml Exchange(const trel_seam::HttpPost& post) {
  const auto failure = [&](const std::string& what) {
    const auto place = post.socket.empty() ? trel_seam::PlaceOf(post.url) : post.socket;
    return trel_seam::HttpFailure(place + ": " + what);
  };
  auto reply = trel_seam::Current().http->Post(post);
  if (reply.status != 200) throw failure("answered with status " + std::to_string(reply.status));
  const auto refuse = [&](const std::string& why) { return failure("the answer is " + why); };
  try {
    auto document = trel_xml::Xml::Parse(std::move(reply.body));
    if (document.GetRoot().Name() != "doc") throw refuse("XML without the root 'doc'");
    return document;
  } catch (const trel_err::Error& error) {
    throw refuse(error.xml().GetNode("/doc/error/msg").Str());
  }
}

}  // namespace

void DefaultLang(const std::string& lang) {
  Language() = lang;
}

Result Client::Query(const std::string& query) const {
  return Send(query);
}

Result Client::Query(const std::string& function, const StringMap& params) const {
  std::string query = function;
  for (const auto& [key, value] : params) {
    query += "&" + key + "=" + str::url::Encode(value);
  }
  return Send(query);
}

std::string Client::Fill(const std::string& function, std::span<const std::string_view> args) {
  if (std::ranges::count(function, '?') != std::ssize(args)) {
    trel_err::AssertError::Raise("trel/client", __LINE__, "trel_client::Client::Query",
                                 "not as many placeholders as arguments");
  }
  std::string query;
  auto argument = args.begin();
  for (const char c : function) {
    if (c == '?') {
      query += str::url::Encode(std::string(*argument++));
    } else {
      query += c;
    }
  }
  return query;
}

Local::Local(const std::string& panel, const std::string& client)
    : url_("http://" + panel + "/"), client_(client) {}

Result Local::Send(const std::string& query) const {
  auto post = MakePost(query);
  post.socket = trel_seam::Configuration().local_socket;
  post.url = url_;
  post.agent = client_;
  try {
    Result result(Exchange(post));
    if (const auto error = result.GetRoot().FindNode("error")) {
      throw trel_err::Error(error.GetProp("type"), error.GetProp("object"),
                            error.FindNode("value").Str(), result);
    }
    return result;
  } catch (const trel_seam::HttpFailure& failure) {
    throw trel_err::Error("local", "query", failure.what(), std::string(failure.what()));
  }
}

Remote::Remote(const std::string& url) : url_(url) {}

Result Remote::Send(const std::string& query) const {
  auto post = MakePost(query);
  post.url = url_;
  post.timeout = timeout_;
  try {
    Result result(Exchange(post));
    if (result.GetRoot().FindNode("error")) {
      throw trel_err::Error("remote", "query", result.GetNode("/doc/error/msg").Str(), result);
    }
    return result;
  } catch (const trel_seam::HttpFailure& failure) {
    throw trel_err::Error("remote", "query", failure.what(), std::string(failure.what()));
  }
}

}  // namespace trel_client

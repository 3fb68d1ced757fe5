#pragma once

#include <array>
#include <concepts>
#include <span>
#include <string>
#include <string_view>

#include "trel/export.h"
#include "trel/str.h"
#include "trel/trel_xml.h"

/// Clients of a panel. One query is one POST with the query text as its body; the answer is an XML
/// document with the root `doc`. Connections and TLS sessions outlive the clients.
/// No key or password of a query appears in an error or in the log.
namespace trel_client {

/// Sets the language that clients ask for from now on; empty: none.
TREL_EXPORT void DefaultLang(const std::string& lang);

/// A panel's answer.
class TREL_EXPORT Result : public trel_xml::Xml {
 public:
  explicit Result(const trel_xml::Xml& document) : Xml(document) {}
  /// The elements of a list: /doc/elem.
  trel_xml::XPath elems() const { return GetNodes("/doc/elem"); }
  /// The text of the root's child `name`, empty when there is none.
  std::string value(const std::string& name) const { return GetRoot().FindNode(name).Str(); }
};

/// What both clients share. Each Query blocks until the answer is there or the time-out passed.
/// A query that submits ("sok=ok" among its fields) is never sent twice.
class TREL_EXPORT Client {
 public:
  virtual ~Client() = default;

  /// Sends `query` as it stands. Throws trel_err::Error, see the classes below.
  Result Query(const std::string& query) const;
  /// Sends `function` and, in key order, "&key=" + encoded value for each entry of `params`.
  Result Query(const std::string& function, const StringMap& params) const;
  /// Sends `function` with each "?" replaced, in order, by an encoded argument. REQUIRES: as many
  /// "?" as arguments (trel_err::AssertError otherwise).
  template <std::convertible_to<std::string_view>... Args>
  requires(sizeof...(Args) > 0) Result Query(const std::string& function, const Args&... args)
  const {
    const std::array<std::string_view, sizeof...(Args)> list{std::string_view(args)...};
    return Query(Fill(function, list));
  }

 private:
  static std::string Fill(const std::string& function, std::span<const std::string_view> args);
  virtual Result Send(const std::string& query) const = 0;
};

/// The panel of this host, on its Unix-domain socket. An error document is thrown with the type,
/// object and value that it names; every other failure as "local" / "query" / what happened.
class TREL_EXPORT Local : public Client {
 public:
  /// `panel`: name of the panel, which a query asks for as its host; `client`: who asks.
  Local(const std::string& panel, const std::string& client);

 private:
  Result Send(const std::string& query) const override;
  std::string url_;
  std::string client_;
};

/// A panel elsewhere, over HTTP or HTTPS. Every failure is thrown as "remote" / "query", with the
/// panel's message as value, or a text that names the host and says what happened.
class TREL_EXPORT Remote : public Client {
 public:
  explicit Remote(const std::string& url);
  /// The time that one query may take, in seconds; 0, the default, is no limit.
  void SetTimeout(int seconds) { timeout_ = seconds; }

 private:
  Result Send(const std::string& query) const override;
  std::string url_;
  int timeout_ = 0;
};

}  // namespace trel_client

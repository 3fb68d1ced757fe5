#include <algorithm>
#include <array>

#include "panel/account.h"
#include "panel/error.h"
#include "panel/functions/functions.h"
#include "panel/text.h"

namespace panel::functions {
namespace {

// Fields of every submission that are none of the form.
constexpr std::array<std::string_view, 7> kQueryFields = {"func", "sok",  "auth", "su",
                                                          "elid", "name", "out"};

const char* ShellField(const Context& context) {
  return context.role.generation == Generation::k4 ? "shell" : "limit_shell";
}

void Show(const Context& context, const User& user, Reply& reply) {
  const account::Account account = account::Require(user.name);
  reply.Add("elid", user.name);
  reply.Add("name", user.name);
  for (const char* field : kUserFields) {
    reply.Add(field, user.fields.at(field));
  }
  reply.Add(ShellField(context), account.ShellOn() ? "on" : "off");
}

bool IsNumber(const std::string& text) {
  return text.find_first_not_of("0123456789") == std::string::npos;
}

void CheckField(const Context& context, const std::string& name, const std::string& value) {
  if (name == "name" && value != context.form.Get("elid")) {
    throw BadValue(name, value, "a user cannot be renamed");
  }
  if (name == "disklimit" && !IsNumber(value)) {
    throw BadValue(name, value, "a number or empty");
  }
  if (!IsXmlText(value)) {
    throw BadValue(name, value, "text in UTF-8 without control characters");
  }
}

// A field that this form does not have is most likely meant for another generation's.
void CheckForm(const Context& context) {
  const auto known = [&](const std::string& name) {
    return std::find(kQueryFields.begin(), kQueryFields.end(), name) != kQueryFields.end() ||
           std::find(kUserFields.begin(), kUserFields.end(), name) != kUserFields.end() ||
           name == ShellField(context);
  };
  for (const auto& [name, value] : context.form.fields()) {
    if (!known(name)) {
      throw Missing("field", name);
    }
    CheckField(context, name, value);
  }
}

void Submit(const Context& context, User user, Reply& reply) {
  CheckForm(context);
  const bool whole = context.role.generation == Generation::k4;
  const bool shell = context.form.Flag(ShellField(context));
  const account::Account account = account::Require(user.name);
  if ((whole || context.form.Has(ShellField(context))) && shell != account.ShellOn()) {
    account::SetShell(user.name, shell);
  }
  for (const char* field : kUserFields) {
    if (whole || context.form.Has(field)) {
      user.fields[field] = context.form.Get(field);
    }
  }
  context.state.users.SaveFields(user);
  reply.AddOk();
}

}  // namespace

void UserEdit(const Context& context, Reply& reply) {
  const std::string elid = context.form.Require("elid");
  const bool submitted = context.form.Submitted();
  if (!context.session.administrator() && (submitted || context.session.user != elid)) {
    throw Denied("user.edit");
  }
  const User user = context.state.users.Require(elid);
  if (submitted) {
    Submit(context, user, reply);
  } else {
    Show(context, user, reply);
  }
}

}  // namespace panel::functions

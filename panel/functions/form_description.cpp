#include "panel/functions/form_description.h"

namespace panel::functions {
namespace {

using Kind = FieldDescription::Kind;

bool IsSelect(const FieldDescription& field) {
  return field.kind == Kind::kSelect || field.kind == Kind::kMultiple;
}

void AddControl(pugi::xml_node page, const FieldDescription& field) {
  pugi::xml_node around = Reply::Add(page, "field", "");
  Reply::Mark(around, "name", field.name);
  pugi::xml_node control = Reply::Add(around, IsSelect(field) ? "select" : "input", "");
  Reply::Mark(control, "name", field.name);
  if (field.kind == Kind::kMultiple) {
    Reply::Mark(control, "type", "multiple");
  } else if (!IsSelect(field)) {
    Reply::Mark(control, "type", field.kind == Kind::kSwitch ? "checkbox" : "text");
  }
}

void AddChoices(const FieldDescription& field, Reply& reply) {
  pugi::xml_node list = reply.AddElement("slist");
  Reply::Mark(list, "name", field.name);
  for (const std::string& choice : field.choices) {
    Reply::Add(list, "val", choice);
  }
}

void AddQuery(const Form& form, Reply& reply) {
  pugi::xml_node query = reply.AddElement("tparams");
  for (const char* field : {"func", "elid", "plid", "out"}) {
    if (form.Has(field)) {
      Reply::Add(query, field, form.Get(field));
    }
  }
}

}  // namespace

void DescribeForm(const Context& context, const std::vector<FieldDescription>& fields,
                  Reply& reply) {
  if (context.form.Get("out") != "devel") {
    return;
  }
  for (const FieldDescription& field : fields) {
    if (IsSelect(field)) {
      AddChoices(field, reply);
    }
  }
  AddQuery(context.form, reply);
  pugi::xml_node metadata = reply.AddElement("metadata");
  Reply::Mark(metadata, "name", context.form.Get("func"));
  pugi::xml_node page = Reply::Add(Reply::Add(metadata, "form", ""), "page", "");
  for (const FieldDescription& field : fields) {
    AddControl(page, field);
  }
  Reply::Mark(reply.AddElement("messages"), "name", context.form.Get("func"));
}

}  // namespace panel::functions

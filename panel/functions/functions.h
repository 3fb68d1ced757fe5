#pragma once

#include "panel/function.h"

/// The panel's functions, each in a file of its name.
namespace panel::functions {

/// `username`, `key`: registers a one-time key that opens a session of that user.
void SessionNewkey(const Context& context, Reply& reply);
/// `username`, `key`: uses the one-time key up and gives a session key in `auth`.
void Auth(const Context& context, Reply& reply);
/// `elid`: the user's form; with sok=ok sets it. Generation 4 takes the whole form, generation 5
/// the given fields. A user may read the own form.
void UserEdit(const Context& context, Reply& reply);
/// `elid`: suspends the user's account on this host.
void UserDisable(const Context& context, Reply& reply);
/// `elid`: takes a suspension back.
void UserResume(const Context& context, Reply& reply);
/// `level`, `name`, `id`, `msg_object`, `info`, `param_*`, sok=ok: registers a problem.
void ProblemsRegister(const Context& context, Reply& reply);
/// The registered problems.
void ProblemsList(const Context& context, Reply& reply);
/// `user`, `remotehomedir`, `overwrite`: makes the access protection of the user's web directories
/// hold on this host after the home came from `remotehomedir`; gives the number of repairs.
void WebdomainDiraccessRepair(const Context& context, Reply& reply);

}  // namespace panel::functions

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
/// The functions that this panel has and the session may call.
void Actionlist(const Context& context, Reply& reply);
/// The user's certificates, the administrator's list has those of all. With the letsencrypt plugin
/// `letsencrypt`, `letsencrypt_verifying` or `letsencrypt_norenew` is on for those from there.
void Sslcert(const Context& context, Reply& reply);
/// `cert_name`: the backup record of the user's certificate; none when it is not from letsencrypt.
void LetsencryptBackupGet(const Context& context, Reply& reply);
/// The fields of such a record, `user_name`, sok=ok, as the administrator with `su`: the user has
/// the certificate from then on.
void LetsencryptBackupSet(const Context& context, Reply& reply);
/// The letsencrypt certificates that there is something to do for, and what.
void LetsencryptPeriodic(const Context& context, Reply& reply);
/// The databases, of the session's user or all. On a source of generation 4 with the fields of that
/// generation.
void DbList(const Context& context, Reply& reply);
/// `elid`: the users of that database.
void DbUsersList(const Context& context, Reply& reply);
/// `plid`, `elid`: the form of a user of that database; with sok=ok sets it (see DbUsersForm and
/// DbUsersSubmit).
void DbUsersEdit(const Context& context, Reply& reply);
/// `plid`, `elid`, `needhash`: what the server knows of that user of the database, the password's
/// hash with needhash=on alone; on a source of generation 4 with the fields of that generation.
void DbUsersForm(const Context& context, Reply& reply);
/// `plid`, `name`: the access of database user `name` to that database: `remote_access`,
/// `addr_list`, privileges, and `password` with `confirm` where one is given, as a hash with
/// `hash`=on. With `name`=* makes the user `username`.
void DbUsersSubmit(const Context& context, Reply& reply);
/// `server`, `name`, `user`, sok=ok: makes a database and gives it to that database user; with
/// `user`=* to a new one of `username`, `hash`, `password`, `confirm`.
void DbEdit(const Context& context, Reply& reply);
/// `server`, `name`, `path`, sok=ok: fills the database from the dump in that file of the user's
/// home, in place of what is in it; makes the database when there is none.
void DbRestore(const Context& context, Reply& reply);
/// Of generation 4: the database servers.
void DbconfList(const Context& context, Reply& reply);
/// `elid`: the form of a database server, of generation 4; it cannot be set.
void DbconfEdit(const Context& context, Reply& reply);
/// The database servers.
void DbServerList(const Context& context, Reply& reply);
/// The options.
void OptionList(const Context& context, Reply& reply);
/// `elid`: the option's `value`; with sok=ok and `value` sets it.
void OptionEdit(const Context& context, Reply& reply);

}  // namespace panel::functions

"""What is to be known about MariaDB's databases and users."""
import re

from .client import digest, rows, run, uses

NAME = 'mysql'
PRIVILEGES = ('SELECT', 'INSERT', 'UPDATE', 'DELETE', 'CREATE', 'DROP', 'ALTER', 'INDEX', 'REFERENCES',
              'LOCK TABLES')

# All that belongs to a database besides its relations, without who defined it.
PARTS = """
SELECT concat('definition of view ', table_name), security_type, check_option,
       left(sha2(view_definition, 256), 16)
  FROM views WHERE table_schema = DATABASE ORDER BY 1;
SELECT concat('trigger ', trigger_name), action_timing, event_manipulation, event_object_table,
       sql_mode, left(sha2(action_statement, 256), 16)
  FROM triggers WHERE trigger_schema = DATABASE ORDER BY 1;
SELECT lower(concat(type, ' ', name)), is_deterministic, sql_data_access, security_type, sql_mode,
       comment, left(sha2(concat(param_list, '/', returns, '/', body_utf8), 256), 16)
  FROM mysql.proc WHERE db = DATABASE ORDER BY 1;
SELECT concat('event ', event_name), status, interval_value, interval_field, starts, time_zone,
       left(sha2(event_definition, 256), 16)
  FROM events WHERE event_schema = DATABASE ORDER BY 1;
"""


def query(statements, database='information_schema', login=(), address=''):
    """As root, or as the user of `login`, a name and a password, over the network to an address."""
    options = '[client]\n'
    if login:
        options += 'user=%s\npassword=%s\n' % login
    if address:
        options += 'protocol=tcp\nhost=%s\n' % address
    return run(['mariadb', '--defaults-extra-file={}', '--batch', '--skip-column-names',
                '--default-character-set=utf8mb4', database], statements, options)


def databases(account):
    return query("SELECT schema_name FROM schemata WHERE schema_name LIKE '%s\\_%%' "
                 "ORDER BY schema_name" % account).split()


def facts(database):
    yield 'characters', query("SELECT default_character_set_name, default_collation_name "
                              "FROM schemata WHERE schema_name = '%s'" % database)
    for kind, name, next_id in rows(query(
            "SELECT lower(table_type), table_name, ifnull(auto_increment, '-') FROM tables "
            "WHERE table_schema = '%s' ORDER BY table_name" % database)):
        quoted = '`%s`' % name.replace('`', '``')
        if kind == 'sequence':
            yield 'sequence ' + name, sequence(database, quoted)
        elif kind == 'view':
            yield 'view ' + name, view(database, quoted)
        else:
            yield 'table ' + name, '%s, next id %s' % (table(database, quoted), next_id)
    for part, *properties in rows(query(PARTS.replace('DATABASE', "'%s'" % database))):
        yield part, ' '.join(properties)
    for part, *results in rows(query(uses(database), database)):
        yield 'use of ' + part, ' '.join(results)


def sequence(database, name):
    value = rows(query('SELECT * FROM ' + name, database))[0][0]
    return 'value %s, structure %s' % (value, digest(query('SHOW CREATE TABLE ' + name, database)))


def view(database, name):
    contents = query('SELECT * FROM ' + name, database).splitlines()
    return '%d rows, contents %s' % (len(contents), digest('\n'.join(sorted(contents))))


def table(database, name):
    (count,), (_, checksum) = rows(query('SELECT count(*) FROM %s; CHECKSUM TABLE %s' % (name, name),
                                         database))
    structure = re.sub(r' AUTO_INCREMENT=\d+', '', query('SHOW CREATE TABLE ' + name, database))
    return '%s rows, checksum %s, structure %s' % (count, checksum, digest(structure))


def rights(user, database):
    """What the user may do in the database from each host."""
    pattern = database.replace('_', '\\\\_')
    for grantee, privileges, grantable in rows(query(
            "SELECT grantee, group_concat(privilege_type), max(is_grantable) FROM schema_privileges "
            "WHERE table_schema IN ('%s', '%s') AND grantee LIKE '\\'%s\\'@%%' "
            'GROUP BY grantee ORDER BY grantee' % (pattern, database, user))):
        held = [name for name in PRIVILEGES if name in privileges.split(',')]
        yield grantee, ', '.join(held + ['GRANT OPTION'] * (grantable == 'YES'))


def log_in(login, database, address):
    """Who the server takes the user for."""
    return query('SELECT current_user()', database, login, address)

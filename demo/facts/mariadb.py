"""What is to be known about MariaDB's databases and users."""
import re

from .client import digest, rows, run, uses

NAME = 'mysql'
PRIVILEGES = ('SELECT', 'INSERT', 'UPDATE', 'DELETE', 'CREATE', 'DROP', 'ALTER', 'INDEX',
              'REFERENCES', 'LOCK TABLES')

# All that belongs to a database besides its relations, without who defined it.
PARTS = """
SELECT concat('definition of view ', table_name), security_type, check_option,
       left(sha2(view_definition, 256), 16)
  FROM views WHERE table_schema = DATABASE ORDER BY binary table_name;
SELECT concat('trigger ', trigger_name), action_timing, event_manipulation, event_object_table,
       sql_mode, left(sha2(action_statement, 256), 16)
  FROM triggers WHERE trigger_schema = DATABASE ORDER BY binary trigger_name;
SELECT lower(concat(type, ' ', name)), is_deterministic, sql_data_access, security_type, sql_mode,
       comment, left(sha2(concat(param_list, '/', returns, '/', body_utf8), 256), 16)
  FROM mysql.proc WHERE db = DATABASE ORDER BY type, binary name;
SELECT concat('event ', event_name), status, interval_value, interval_field, starts, time_zone,
       left(sha2(event_definition, 256), 16)
  FROM events WHERE event_schema = DATABASE ORDER BY binary event_name;
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
                 "ORDER BY binary schema_name" % account).split()


def facts(database):
    yield 'characters', query("SELECT default_character_set_name, default_collation_name "
                              "FROM schemata WHERE schema_name = '%s'" % database)
    relations = rows(query("SELECT table_type, table_name FROM tables WHERE table_schema = '%s' "
                           'ORDER BY binary table_name' % database))
    yield from tables(database, [name for kind, name in relations if kind == 'BASE TABLE'])
    yield from sequences(database, [name for kind, name in relations if kind == 'SEQUENCE'])
    yield from views(database, [name for kind, name in relations if kind == 'VIEW'])
    for part, *properties in rows(query(PARTS.replace('DATABASE', "'%s'" % database))):
        yield part, ' '.join(properties)


def quoted(name):
    return '`%s`' % name.replace('`', '``')


def for_each(statement, names):
    """The statement for each of the names, which takes the place of %s."""
    return ''.join(statement % quoted(name) for name in names)


def tables(database, names):
    """Contents, structure and the next number of each table."""
    counts = query(for_each('SELECT count(*) FROM %s;', names), database).split()
    checksums = rows(query(for_each('CHECKSUM TABLE %s;', names), database))
    structures = rows(query(for_each('SHOW CREATE TABLE %s;', names), database))
    for name, count, (_, checksum), (_, structure) in zip(names, counts, checksums, structures,
                                                          strict=True):
        next_id = re.search(r' AUTO_INCREMENT=(\d+)', structure)
        yield 'table ' + name, '%s rows, checksum %s, structure %s%s' % (
            count, checksum, digest(re.sub(r' AUTO_INCREMENT=\d+', '', structure)),
            ', next id ' + next_id[1] if next_id else '')


def sequences(database, names):
    """The next value of each sequence."""
    for name, (value, *_) in zip(names, rows(query(for_each('SELECT * FROM %s;', names), database)),
                                 strict=True):
        yield 'sequence ' + name, 'value ' + value


def views(database, names):
    """What each view shows, whatever the order."""
    contents = {name: [] for name in names}
    for number, line in rows(query(''.join(
            'SELECT %d, view.* FROM %s AS view;' % (number, quoted(name))
            for number, name in enumerate(names)), database), 2):
        contents[names[int(number)]].append(line)
    for name, lines in contents.items():
        yield 'view ' + name, '%d rows, contents %s' % (len(lines), digest('\n'.join(sorted(lines))))


def rights(users, database):
    """What the users may do in the database, each from each host."""
    pattern = database.replace('_', '\\\\_')
    for grantee, privileges, grantable in rows(query(
            "SELECT grantee, group_concat(privilege_type), max(is_grantable) "
            "FROM schema_privileges WHERE table_schema IN ('%s', '%s') "
            "AND substring_index(grantee, '@', 1) IN (%s) GROUP BY grantee ORDER BY grantee"
            % (pattern, database, ', '.join("'\\'%s\\''" % user for user in users)))):
        held = [name for name in PRIVILEGES if name in privileges.split(',')]
        yield grantee, ', '.join(held + ['GRANT OPTION'] * (grantable == 'YES'))


def use(login, database):
    """What comes of using what is in the database, as that user."""
    for part, *results in rows(query(uses(database), database, login)):
        yield 'use of ' + part, ' '.join(results)


def log_in(login, database, address):
    """Who the server takes the user for."""
    return query('SELECT current_user()', database, login, address)

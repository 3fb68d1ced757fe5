"""What is to be known about PostgreSQL's databases and roles."""
from .client import rows, run, uses

NAME = 'pgsql'
SOCKET = '/run/postgresql'

# Whatever has rows or a value, apart from what extensions brought in and the server's own.
RELATIONS = """
CREATE TEMPORARY VIEW objects AS
  SELECT c.oid, n.oid AS namespace, c.relowner AS owner, c.relkind AS kind,
         format('%I.%I', n.nspname, c.relname) AS name
  FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace
  WHERE n.nspname !~ '^(pg_|information_schema)'
    AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.objid = c.oid AND d.deptype = 'e');
"""
LIST = """
SELECT CASE kind WHEN 'S' THEN 'sequence' WHEN 'v' THEN 'view' WHEN 'm' THEN 'materialized view'
                 ELSE 'table' END, name
  FROM objects WHERE kind IN ('r', 'p', 'v', 'm', 'S') ORDER BY name COLLATE "C";
"""

SEQUENCE = """
SELECT $${kind} {name}$$, 'value', last_value, 'called', is_called FROM {name};
"""
CONTENTS = """
SELECT $${kind} {name}$$, count(*), 'rows, contents',
       md5(coalesce(string_agg(r::text, E'\\n' ORDER BY r::text COLLATE "C"), '')) FROM {name} AS r;
"""

# What they are like, and all else that belongs to a database.
PARTS = """
SELECT 'columns of ' || o.name, md5(string_agg(concat_ws(' ', a.attname, a.attnotnull,
         a.attidentity, format_type(a.atttypid, a.atttypmod), a.attgenerated,
         a.attcollation::regcollation, pg_get_expr(d.adbin, d.adrelid), col_description(o.oid, a.attnum)), ',' ORDER BY a.attnum))
  FROM objects o JOIN pg_attribute a ON a.attrelid = o.oid AND a.attnum > 0 AND NOT a.attisdropped
  LEFT JOIN pg_attrdef d ON (d.adrelid, d.adnum) = (a.attrelid, a.attnum)
  WHERE o.kind <> 'i' GROUP BY 1, o.name ORDER BY o.name COLLATE "C";
SELECT 'comment on ' || o.name, d.description
  FROM objects o JOIN pg_description d ON d.objoid = o.oid AND d.objsubid = 0 ORDER BY 1;
SELECT 'constraint ' || conname, pg_get_constraintdef(c.oid)
  FROM pg_constraint c JOIN pg_namespace n ON n.oid = c.connamespace
  WHERE n.nspname !~ '^(pg_|information_schema)' ORDER BY 1, 2;
SELECT 'index ' || indexname, indexdef FROM pg_indexes
  WHERE schemaname !~ '^(pg_|information_schema)' ORDER BY 1;
SELECT 'definition of ' || name, md5(pg_get_viewdef(oid)) FROM objects
  WHERE kind IN ('v', 'm') ORDER BY 1;
SELECT 'trigger ' || t.tgname, t.tgenabled, pg_get_triggerdef(t.oid)
  FROM pg_trigger t JOIN objects o ON o.oid = t.tgrelid WHERE NOT t.tgisinternal ORDER BY 1;
SELECT 'function ' || p.proname, md5(pg_get_functiondef(p.oid))
  FROM pg_proc p JOIN pg_namespace n ON n.oid = p.pronamespace
  WHERE n.nspname !~ '^(pg_|information_schema)'
    AND NOT EXISTS (SELECT FROM pg_depend d WHERE d.objid = p.oid AND d.deptype = 'e') ORDER BY 1;
SELECT 'enumeration ' || enumtypid::regtype, string_agg(enumlabel, ', ' ORDER BY enumsortorder)
  FROM pg_enum GROUP BY enumtypid ORDER BY 1;
SELECT 'extension ' || extname, extversion FROM pg_extension ORDER BY 1;
"""

# What a role may do, by itself or as a member of another; "own" is to change and drop.
RIGHTS = """
SELECT r.rolname, o.name, string_agg(p.name, ', ' ORDER BY p.place) ||
       CASE WHEN pg_has_role(r.oid, o.owner, 'USAGE') THEN ', own' ELSE '' END
  FROM objects o, pg_roles r, unnest(ARRAY['SELECT', 'INSERT', 'UPDATE', 'DELETE', 'REFERENCES',
         'SELECT WITH GRANT OPTION']) WITH ORDINALITY AS p (name, place)
  WHERE o.kind IN ('r', 'p', 'v', 'm') AND r.rolname IN (ROLES)
    AND has_schema_privilege(r.oid, o.namespace, 'USAGE')
    AND has_table_privilege(r.oid, o.oid, p.name)
  GROUP BY r.rolname, r.oid, o.name, o.owner ORDER BY r.rolname, o.name COLLATE "C";
"""


def query(statements, database, login=('postgres', ''), address=''):
    """As the administrator, or as the role of `login`, a name and a password, over the network to
    an address."""
    name, password = login
    environment = {'PGPASSFILE': '{}', 'PGTZ': 'UTC', 'PGCLIENTENCODING': 'UTF8'}
    return run(['psql', '--no-psqlrc', '--quiet', '--tuples-only', '--no-align', '--no-password',
                '--field-separator=\t', '--set=ON_ERROR_STOP=1', '--username=' + name,
                '--host=' + (address or SOCKET), '--dbname=' + database],
               statements, '*:*:*:%s:%s\n' % (name, password), environment.items())


def databases(account):
    return query("SELECT datname FROM pg_database WHERE datname LIKE '%s\\_%%' "
                 "ORDER BY datname" % account, 'postgres').split()


def facts(database):
    yield 'characters', query('SELECT pg_encoding_to_char(encoding), datcollate, datctype '
                              'FROM pg_database WHERE datname = current_database()', database)
    statements = ''.join((SEQUENCE if kind == 'sequence' else CONTENTS).format(kind=kind, name=name)
                         for kind, name in rows(query(RELATIONS + LIST, database)))
    for part, *properties in rows(query(statements + RELATIONS + PARTS, database)):
        yield part, ' '.join(properties)


def rights(roles, database):
    """What each role may do with each relation of the database."""
    named = RIGHTS.replace('ROLES', ', '.join("'%s'" % role for role in roles))
    for role, name, held in rows(query(RELATIONS + named, database)):
        yield '%s with %s' % (role, name), held


def use(login, database):
    """What comes of using what is in the database, as that user."""
    for part, *results in rows(query(uses(database), database, login)):
        yield 'use of ' + part, ' '.join(results)


def log_in(login, database, address):
    """Who the server takes the role for."""
    return query('SELECT current_user', database, login, address)

"""Running a database server's client, and reading what it prints."""
import hashlib
import os
import re
import subprocess

DATABASES = os.path.dirname(os.path.dirname(os.path.realpath(__file__))) + '/databases'

REFUSALS = re.compile(r'ERROR (1044|1045|1698) |\b1130 - Host|password authentication failed|'
                      r'permission denied for database')


class ClientError(Exception):
    """What a client said when it failed."""

    def is_refusal(self):
        """The server knows who is asking, and does not let them in."""
        return REFUSALS.search(str(self)) is not None


def run(command, statements, secret, environment=()):
    """Feeds statements to a client. The client finds `secret` in a file, which is in memory and for
    the owner alone; {} in `command` and in the values of `environment` stands for its path. Without
    statements nothing is run."""
    if not statements:
        return ''
    file = os.memfd_create('secret', 0)
    try:
        os.fchmod(file, 0o600)
        os.write(file, secret.encode())
        path = '/dev/fd/%d' % file
        surroundings = {**os.environ, **{name: text.format(path) for name, text in environment}}
        done = subprocess.run([word.format(path) for word in command], input=statements.encode(),
                              capture_output=True, pass_fds=[file], env=surroundings, check=False)
    finally:
        os.close(file)
    if done.returncode != 0:
        raise ClientError(done.stderr.decode(errors='replace').strip())
    return done.stdout.decode(errors='backslashreplace')


def rows(text, columns=0):
    """What a client printed, as a list for each line; the last of the columns has the rest."""
    return [line.split('\t', columns - 1) for line in text.split('\n')[:-1]]


def digest(text):
    return hashlib.sha256(text.encode()).hexdigest()[:16]


def uses(database):
    """The statements that use what is in such a database, if there are any."""
    path = '%s/%s.check.sql' % (DATABASES, database.rpartition('_')[2])
    if not os.path.exists(path):
        return ''
    with open(path, encoding='utf-8') as file:
        return file.read()

# -*- coding: utf-8 -*-
"""The common part of the modules: calls hotfixInspect and hotfixUninstall, and reads their answers."""

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import errno
import fcntl
import json
import os
import pwd
import stat
import tarfile
import tempfile
import time

# The exit statuses of "hotfixInspect status" for one instance. Any other status is an error.
STATES = {
    10: 'none',
    11: 'removable',
    12: 'removed',
    13: 'failed',
    14: 'interrupted',
    15: 'inconsistent',
    16: 'no-instance',
}

# The folders of the packages. PATH is not used, because another user can have set it.
FOLDERS = ['/usr/local/sbin', '/usr/sbin', '/opt/local/sbin']

_LONGEST_TEXT = 2000
_MOST_EVIDENCE = 64 * 1024 * 1024
_UNKNOWN_HOME = '${env.HOME}'
_HOMES = '/Users'


class Failure(Exception):
    """The failure of a request. cause is one word for a report, reason is a text for a person."""

    def __init__(self, cause, reason, **details):
        super(Failure, self).__init__(reason)
        self.cause = cause
        self.reason = reason
        self.details = details


def shown(text):
    """A text of a document for people. A text that is not UTF-8 is an object with a form to show."""
    if isinstance(text, dict):
        return text.get('shown', '')
    return '' if text is None else str(text)


def exact(text):
    """A text of a document as an argument or a path: the exact bytes."""
    if isinstance(text, dict):
        return os.fsdecode(bytes(bytearray.fromhex(text['bytes'])))
    return text


def words_for_shell(words):
    """A command as a person would paste it."""
    result = []
    for word in words:
        word = shown(word)
        plain = word and all(c.isalnum() and ord(c) < 128 or c in '+-./:=@_' for c in word)
        result.append(word if plain else "'" + word.replace("'", "'\\''") + "'")
    return ' '.join(result)


def find_program(name, path=None):
    """The absolute path of one of the two programs."""
    if path:
        if not os.path.isabs(path):
            raise Failure('no-program', 'The path of %s is not absolute: %s' % (name, path))
        candidates = [path]
    else:
        candidates = [os.path.join(folder, name) for folder in FOLDERS]
    for candidate in candidates:
        if os.path.isfile(candidate) and os.access(candidate, os.X_OK):
            return candidate
    raise Failure('no-program', '%s is not installed: there is no %s' % (name, ' and no '.join(candidates)))


class Programs(object):
    """Calls the two programs with a fixed environment, so that both see the same with every engine."""

    def __init__(self, module, inspect=None, tool=None):
        self._module = module
        self._inspect_path = inspect
        self._tool_path = tool
        self._user = None
        self._home = None

    def act_for(self, user):
        """Sets USER to the future owner of the workspace, and HOME to that user's home folder."""
        try:
            entry = pwd.getpwnam(user)
        except KeyError:
            raise Failure('owner-unknown', 'There is no user %s on this machine' % user)
        self._user = entry.pw_name
        self._home = entry.pw_dir

    def _run(self, words, **options):
        environment = ['PATH=/usr/bin:/bin:/usr/sbin:/sbin', 'LC_ALL=C']
        if self._user:
            environment += ['USER=' + self._user, 'LOGNAME=' + self._user, 'HOME=' + self._home]
        # The invoking user, whose links the tool trusts.
        for name in ('SUDO_USER', 'SUDO_UID', 'SUDO_GID'):
            if name in os.environ:
                environment.append(name + '=' + os.environ[name])
        return self._module.run_command(['/usr/bin/env', '-i'] + environment + words, expand_user_and_vars=False,
                                        errors='surrogate_then_replace', **options)

    def _document(self, arguments, statuses):
        program = find_program('hotfixInspect', self._inspect_path)
        status, out, err = self._run([program] + arguments + ['--json'])
        try:
            document = json.loads(out)
        except ValueError:
            document = None
        if not isinstance(document, dict) or not str(document.get('schemaVersion', '')).startswith('1.'):
            raise Failure('bad-answer', '%s ended with status %d and no document that is understood: %s'
                          % (words_for_shell([program] + arguments), status, (err or out).strip()[:_LONGEST_TEXT]))
        if status not in statuses or document.get('document') == 'error':
            raise Failure('bad-answer', '%s ended with status %d: %s'
                          % (words_for_shell([program] + arguments), status, shown(document.get('message'))))
        return document

    def status(self, home, data=None):
        document = self._document(['status', home] + ([data] if data else []), STATES)
        if document.get('state') not in STATES.values():
            raise Failure('bad-answer', 'hotfixInspect names a state that is not known: %s' % document.get('state'))
        return document

    def status_of_all(self, folders):
        return self._document(['status', '--all'] + folders, [0])['instances']

    def preview(self, home, data):
        return self._document(['preview', '-rcphome', home, '-rcpdata', data], [0, 1])

    def verify(self, before_file):
        return self._document(['verify', before_file], [0, 3, 4])

    def uninstall(self, home, data, lock):
        """Runs the tool, which holds the lock until it ends, even if this module is killed."""
        program = find_program('hotfixUninstall', self._tool_path)
        return self._run([program, '-rcphome', home, '-rcpdata', data], pass_fds=[lock.descriptor], close_fds=True)

    def carry_out(self, words, home, data, lock):
        """Runs one of the commands that hotfixInspect prints. Refuses all other commands."""
        words = [exact(word) for word in words]
        if words[:1] == ['sudo']:
            words = words[1:]
        deploy = os.path.join(home, 'deploy')
        if words[:1] == ['hotfixUninstall']:
            return self.uninstall(home, data, lock)
        if words[:2] == ['rm', '--'] and len(words) == 3 and os.path.isabs(words[2]):
            return self._run(['/bin/rm'] + words[1:])
        if words == ['cp', '--', os.path.join(deploy, 'install.update.xml'),
                     os.path.join(deploy, 'uninstall.hotfix.xml')]:
            return self._run(['/bin/cp'] + words[1:])
        raise Failure('bad-answer', 'A command for the recovery is not one that this module runs: %s'
                      % words_for_shell(words))


class StateFolder(object):
    """A permanent folder of root: the state before a removal, the lock, the evidence.

    A stored document means that a removal was begun and has not been reported as verified yet.
    """

    def __init__(self, path, home):
        self.path = path
        name = ''.join(c if c.isalnum() and ord(c) < 128 or c in '.-' else '_' for c in home.strip('/'))
        # A checksum of the whole path distinguishes names that would be equal or too long.
        total = 0
        for byte in bytearray(home.encode('utf-8', 'surrogateescape')):
            total = (total * 131 + byte) % 0xffffffff
        self._name = '%s-%08x' % (name[-80:], total)
        self._descriptor = None

    def file(self, ending):
        return os.path.join(self.path, self._name + ending)

    @property
    def before_file(self):
        return self.file('.before.json')

    @property
    def packed_file(self):
        return self.file('.evidence.tar.gz')

    def has_packed(self):
        return os.path.exists(self.packed_file)

    @property
    def descriptor(self):
        return self._descriptor

    def make(self):
        try:
            os.makedirs(self.path, 0o700)
        except OSError as error:
            if error.errno != errno.EEXIST:
                raise Failure('state-folder', 'The folder %s cannot be made: %s' % (self.path, error.strerror))
        facts = os.lstat(self.path)
        if not stat.S_ISDIR(facts.st_mode) or facts.st_uid != os.geteuid() or facts.st_mode & 0o022:
            raise Failure('state-folder', '%s is not a folder that only its owner %d can write to'
                          % (self.path, os.geteuid()))

    def lock(self, seconds):
        """Lets one removal run at a time on the machine, by any engine: the scripts for management systems take the same
        lock. The kernel keeps it while a process has the descriptor, which the tool inherits.
        """
        descriptor = os.open(os.path.join(self.path, 'lock'), os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW, 0o600)
        end = time.time() + seconds
        while True:
            try:
                fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
                self._descriptor = descriptor
                return
            except (IOError, OSError):
                if time.time() >= end:
                    os.close(descriptor)
                    raise Failure('locked', 'Another removal runs on this machine, and did not end in %d s' % seconds)
                time.sleep(0.5)

    def write(self, ending, document):
        """Atomic: a run that is killed leaves the old document or the new one."""
        descriptor, name = tempfile.mkstemp(dir=self.path)
        with os.fdopen(descriptor, 'w') as file:
            json.dump(document, file, indent=1, sort_keys=True)
            file.flush()
            os.fsync(file.fileno())
        os.rename(name, self.file(ending))

    def read(self, ending):
        try:
            with open(self.file(ending)) as file:
                return json.load(file)
        except (IOError, OSError, ValueError):
            return None

    def settle(self):
        """Marks the removal as verified: the document gets another name, and is only for reading."""
        os.rename(self.before_file, self.file('.removed.json'))
        if os.path.exists(self.file('.failure.json')):
            os.unlink(self.file('.failure.json'))

    def pack(self, documents, files, folder):
        """Packs the evidence for support into one file: only plain files, at most 64 MiB."""
        descriptor, temporary = tempfile.mkstemp(dir=self.path)
        room = [_MOST_EVIDENCE]

        def add(archive, path, member):
            # The folders can belong to a user who replaces a file while it is read.
            try:
                handle = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
            except OSError:
                return
            with os.fdopen(handle, 'rb') as file:
                facts = os.fstat(file.fileno())
                if not stat.S_ISREG(facts.st_mode) or facts.st_size > room[0]:
                    return
                room[0] -= facts.st_size
                entry = tarfile.TarInfo(member)
                entry.size = facts.st_size
                entry.mtime = int(facts.st_mtime)
                entry.mode = 0o600
                archive.addfile(entry, _Exactly(file, facts.st_size))

        with os.fdopen(descriptor, 'wb') as file:
            with tarfile.open(fileobj=file, mode='w:gz') as archive:
                for title in sorted(documents):
                    if documents[title] is not None:
                        self.write('.part', documents[title])
                        add(archive, self.file('.part'), title + '.json')
                        os.unlink(self.file('.part'))
                for path in files:
                    add(archive, path, os.path.basename(path))
                for parent, folders, names in os.walk(folder):
                    folders.sort()
                    for entry in sorted(names):
                        path = os.path.join(parent, entry)
                        add(archive, path, os.path.join('installHistory', os.path.relpath(path, folder)))
        os.rename(temporary, self.packed_file)
        return self.packed_file


class _Exactly(object):
    """Reads exactly the announced number of bytes, even if the file shrinks meanwhile."""

    def __init__(self, file, size):
        self._file = file
        self._left = size

    def read(self, size):
        block = self._file.read(min(size, self._left))
        block += b'\0' * (min(size, self._left) - len(block))
        self._left -= len(block)
        return block


def owner_of(path):
    """The name of the owner of a folder, or None."""
    try:
        return pwd.getpwuid(os.stat(path).st_uid).pw_name
    except (OSError, KeyError):
        return None


def users_with(recorded):
    """The users who have the workspace that is recorded relative to a home folder, each with its path."""
    homes = dict((entry.pw_dir, entry.pw_name) for entry in pwd.getpwall() if entry.pw_uid != 0)
    # Users of a directory service are not always listed.
    for name in os.listdir(_HOMES) if os.path.isdir(_HOMES) else []:
        home = os.path.join(_HOMES, name)
        user = owner_of(home)
        if home not in homes and user not in (None, 'root'):
            homes[home] = user
    found = []
    for home in sorted(homes):
        path = recorded.replace(_UNKNOWN_HOME, home)
        if os.path.isdir(path) and not os.path.islink(path):
            found.append((homes[home], path))
    return found


def resolve(programs, home, data, owner):
    """Finds the data folder and the future owner of the workspace. Guesses neither.

    The data folder is the given one, otherwise the recorded one, otherwise the platform's default. A folder that is
    recorded for any user is that of the only user who has it. The owner is the given one, otherwise the folder's.
    """
    if not os.path.isabs(home):
        raise Failure('wrong-argument', 'The home folder is not an absolute path: %s' % home)
    if data and not os.path.isabs(data):
        raise Failure('wrong-argument', 'The data folder is not an absolute path: %s' % data)
    if owner:
        programs.act_for(owner)
    document = programs.status(home, data)
    if document['state'] == 'no-instance':
        return document, data, owner
    if not data:
        data = exact(document.get('data'))
        if data and _UNKNOWN_HOME in data:
            users = users_with(data)
            if len(users) != 1:
                raise Failure('owner-unknown', 'The workspace of %s is %s, which %s: name the user, or the data folder'
                              % (home, data, 'several users have, ' + ' and '.join(user for user, _path in users) if users
                                 else 'no user has'))
            owner, data = users[0]
            programs.act_for(owner)
        data = data or os.path.join(home, 'systemdata')
    if not owner:
        owner = owner_of(data)
        if owner == 'root':
            raise Failure('owner-unknown', 'The workspace %s belongs to root: name the user who is to have it' % data)
        if not owner:
            raise Failure('owner-unknown', 'There is no workspace %s: name the data folder, or its user' % data)
        programs.act_for(owner)
    return programs.status(home, data), data, owner

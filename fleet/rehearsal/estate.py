"""The machines of a rehearsal: separate roots on this machine, with their own processes, mounts and names.

Needs root, a separate mount namespace and a separate process namespace. All mounts and processes end with these.
"""

import hashlib
import os
import pathlib
import shutil
import stat
import subprocess
import time

HERE = pathlib.Path(__file__).resolve().parent
BUNDLE = 'Applications/Vantelmor.app'
HOME = '/' + BUNDLE + '/Contents/MacOS/rcp'
DATA = '/Users/alice/Vantelmor Data'
JAVA = 'Library/Java/JavaVirtualMachines/demo.jdk'
STATE_FOLDER = 'var/db/hotfixUninstall'
# Folders that are not the machine's own, and /var/tmp, which contains the engine's temporary files.
NOT_LOOKED_AT = {'usr', 'proc', 'dev', 'run', 'var/tmp'}


def call(*words, **options):
    return subprocess.run(words, check=True, stdin=subprocess.DEVNULL, **options)


class Base:
    """The files that all machines share: the lower layer of each."""

    def __init__(self, work, build, checkout):
        self.work = pathlib.Path(work)
        self.tree = self.work / 'base'
        self.usr = self.work / 'usr'
        demo = pathlib.Path(checkout) / 'demo'
        for folder in ('usr-added/sbin', 'usr-added/libexec', 'usr', 'machines', 'layers'):
            (self.work / folder).mkdir(parents=True)
        added = self.work / 'usr-added'
        for program in ('libexec/note-child', 'sbin/pkgutil'):
            shutil.copy(demo / 'root/usr' / program, added / program)
        shutil.copy(HERE / 'stand-ins/java_home', added / 'libexec/java_home')
        for program in ('hotfixUninstall', 'hotfixInspect'):
            shutil.copy(pathlib.Path(build) / program, added / 'sbin' / program)
        call('mount', '-t', 'overlay', 'overlay', '-o', f'lowerdir={added}:/usr', self.usr)
        self._make_tree(demo, pathlib.Path(build))

    def _make_tree(self, demo, build):
        tree = self.tree
        for folder in ('usr', 'proc', 'dev', 'run', 'root', 'tmp', 'var/tmp', 'var/log', 'var/db', 'var/lib', 'Users/operator'):
            (tree / folder).mkdir(parents=True)
        for folder in ('tmp', 'var/tmp'):
            (tree / folder).chmod(0o1777)
        (tree / 'var/run').symlink_to('/run')
        for entry in pathlib.Path('/').iterdir():
            if entry.is_symlink() and str(entry.readlink()).lstrip('/').startswith('usr/'):
                (tree / entry.name).symlink_to(entry.readlink())
        call('cp', '-a', '/etc', tree / 'etc')
        (tree / 'etc/rehearsal').mkdir()
        (tree / 'etc/hosts').write_text('127.0.0.1 localhost\n')
        (tree / 'etc/group').write_text('root:x:0:\nadmin:x:80:\noperator:x:600:\nnogroup:x:65534:\n')
        (tree / 'etc/passwd').write_text('root:x:0:0:root:/root:/bin/bash\n'
                                         'alice:x:501:80:Alice:/Users/alice:/bin/sh\n'
                                         'operator:x:600:600:Operator:/Users/operator:/bin/sh\n')
        (tree / 'etc/shadow').write_text('root:*:1::::::\nalice:*:1::::::\noperator:*:1::::::\n')
        sudoers = tree / 'etc/sudoers.d/operator'
        sudoers.write_text('Defaults !lecture\noperator ALL=(ALL) NOPASSWD: ALL\n')
        sudoers.chmod(0o440)
        os.chown(tree / 'Users/operator', 600, 600)
        for folder in ('Applications', 'Users', 'var'):
            call('cp', '-R', f'{demo}/root/{folder}/.', tree / folder)
        for folder, place in (('Product.app', BUNDLE), ('data', DATA.lstrip('/'))):
            call('cp', '-R', f'{demo}/instance/{folder}/.', tree / place)
        home = tree / HOME.lstrip('/')
        launcher = home / 'rcplauncher.properties'
        launcher.write_text(launcher.read_text().replace('/workspace', '/' + pathlib.Path(DATA).name))
        shutil.copy(HERE / 'stand-ins/rcplauncher', home / 'rcplauncher')
        shutil.copy(build / 'demo/rcplauncher', home / 'rcplauncher.program')
        (home / 'collectionutility.jar').touch()
        shutil.copy('/bin/sleep', home.parent / 'Vantelmor')
        java = tree / JAVA / 'Contents/Home/bin/java'
        java.parent.mkdir(parents=True)
        shutil.copy(demo / 'java', java)
        java.chmod(0o755)
        # The data folder belongs to alice. It contains files that root has written, and a link to a folder outside.
        data = tree / DATA.lstrip('/')
        (data / 'mail/attachments').symlink_to('/Users/alice/Library')
        call('chown', '-R', 'root:root', tree / 'Applications')
        call('chown', '-hR', '501:80', tree / 'Users/alice')
        call('chown', '-hR', '0:0', data / '.metadata', data / 'mail')
        (data / 'mail').chmod(0o700)
        (data / 'mail/inbox').chmod(0o600)


class Machine:
    """One machine. Its root can be read from outside. Its programs run in its namespaces."""

    def __init__(self, base, name, kind):
        self.name = name
        self.kind = kind
        self.root = base.work / 'machines' / name
        self._process = None
        self._layer = layer = base.work / 'layers' / name
        for folder in (layer / 'changes', layer / 'work', self.root):
            folder.mkdir(parents=True)
        call('mount', '-t', 'overlay', 'overlay', '-o',
             f'lowerdir={base.tree},upperdir={layer}/changes,workdir={layer}/work', self.root)
        call('mount', '--bind', base.usr, self.root / 'usr')
        call('mount', '--bind', '/dev', self.root / 'dev')
        (self.root / 'etc/hosts').write_text(f'127.0.0.1 localhost {name}\n')

    def path(self, path):
        return self.root / path.lstrip('/')

    # ----- Power -----

    def boot(self):
        self._process = subprocess.Popen(
            ['unshare', '--mount', '--pid', '--fork', '--uts', '--ipc', '--net', '--kill-child', '--propagation',
             'private', HERE / 'machine', self.root], stdin=subprocess.DEVNULL)
        children = pathlib.Path(f'/proc/{self._process.pid}/task/{self._process.pid}/children')
        end = time.monotonic() + 60
        while True:
            pid = children.read_text().strip()
            if pid and os.readlink(f'/proc/{pid}/root') == str(self.root):
                break
            if time.monotonic() > end or self._process.poll() is not None:
                raise RuntimeError(f'{self.name} does not start')
            time.sleep(0.02)
        self._pid = pid
        self.switch_on()

    def switch_on(self):
        pathlib.Path(f'{self.root}.pid').write_text(self._pid)

    def switch_off(self):
        """Makes the machine unreachable. Nothing on it changes."""
        pathlib.Path(f'{self.root}.pid').unlink()

    def reboot(self):
        """Kills all processes of the machine at once, and boots it again."""
        self._process.kill()
        self._process.wait()
        shutil.rmtree(self.root / 'run', ignore_errors=True)
        (self.root / 'run').mkdir(exist_ok=True)
        self.boot()

    def discard(self):
        """Removes the machine with all its files."""
        self._process.kill()
        self._process.wait()
        # A mount in another namespace keeps it busy a moment longer.
        call('umount', '--lazy', '--recursive', self.root)
        self.root.rmdir()
        shutil.rmtree(self._layer)

    # ----- Actions of a user -----

    def _words(self, words):
        return ['nsenter', '--target', self._pid, '--mount', '--pid', '--uts', '--ipc', '--net', '--wd=/', '--',
                'chroot', self.root, 'env', '-i', 'PATH=/usr/sbin:/usr/bin:/sbin:/bin', 'USER=alice',
                'HOME=/Users/alice', 'SUDO_UID=501', *words]

    def run(self, *words):
        return subprocess.run(self._words(words), stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)

    def start(self, *words):
        return subprocess.Popen(self._words(words), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL)

    def remount_applications(self, how):
        call('nsenter', '--target', self._pid, '--mount', '--', 'mount', '-o', f'remount,bind,{how}',
             self.root / 'Applications')

    def start_platform(self):
        # The user finds the machine's own number of the process there.
        self.start('setpriv', '--reuid', '501', '--regid', '80', '--clear-groups', 'sh', '-c',
                   f'exec {HOME}/../Vantelmor 86400')
        end = time.monotonic() + 30
        while time.monotonic() < end:
            pid = self.run('pgrep', '-x', 'Vantelmor').stdout.strip()
            if pid:
                self.path('run/platform.pid').write_text(pid + '\n')
                return
            time.sleep(0.05)
        raise RuntimeError(f'the platform does not start on {self.name}')

    def quit_platform(self):
        self.run('sh', '-c', 'kill "$(cat /run/platform.pid)"')

    def interrupt_a_removal(self):
        """Begins a removal, and cuts the power when the manifest is consumed."""
        self.path('etc/rehearsal/seconds').write_text('30\n')
        self.start('hotfixUninstall', '-rcphome', HOME, '-rcpdata', DATA)
        end = time.monotonic() + 60
        while self.path(HOME + '/deploy/uninstall.hotfix.xml').exists():
            if time.monotonic() > end:
                raise RuntimeError(f'no removal begins on {self.name}')
            time.sleep(0.02)
        time.sleep(0.1)
        self.reboot()
        self.path('etc/rehearsal/seconds').unlink()

    # ----- Inspection -----

    def state(self):
        """The state from hotfixInspect on the machine, without the engine."""
        import json
        answer = self.run('hotfixInspect', 'status', HOME, DATA, '--json')
        try:
            return json.loads(answer.stdout)
        except ValueError:
            return {'state': 'unknown', 'evidence': [answer.stderr], 'wayOut': []}

    def digests(self):
        """Kind, owner, mode, time and content of every entry of its root."""
        entries = {}
        root = str(self.root)
        for parent, folders, files in os.walk(root):
            inner = os.path.relpath(parent, root)
            inner = '' if inner == '.' else inner + '/'
            folders[:] = sorted(name for name in folders if inner + name not in NOT_LOOKED_AT)
            for name in sorted(folders + files):
                path = os.path.join(parent, name)
                facts = os.lstat(path)
                content = None
                if stat.S_ISLNK(facts.st_mode):
                    content = os.readlink(path)
                elif stat.S_ISREG(facts.st_mode):
                    with open(path, 'rb') as file:
                        content = hashlib.sha256(file.read()).digest()
                # The engine unpacks its modules in /tmp, and removes them.
                time_of = 0 if inner + name == 'tmp' else facts.st_mtime_ns
                entries[inner + name] = (facts.st_mode, facts.st_uid, facts.st_gid, time_of, content)
        return entries

    def wrong_owners(self):
        """Entries of the workspace that do not belong to alice."""
        wrong = []
        for parent, folders, files in os.walk(self.path(DATA)):
            for name in folders + files:
                path = os.path.join(parent, name)
                facts = os.lstat(path)
                if (facts.st_uid, facts.st_gid) != (501, 80):
                    wrong.append(path)
        return wrong

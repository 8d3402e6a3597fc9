"""The kinds of machines of the estate: how each is made, its expected outcomes, and the remedy.

An outcome is ok, changed, unreachable, or failed with its cause.
"""

from estate import BUNDLE, DATA, HOME, HERE, JAVA, call
import shutil


class Kind:
    def __init__(self, title, check, first, second, third='changed', final='removed', variables=None, before=None,
                 prepare=None, cure=None, cured_by=''):
        self.title = title
        self.expected = {'check': check, 'first': first, 'second': second, 'third': third}
        self.final = final
        self.variables = variables or {}
        self.before = before        # before it is booted
        self.prepare = prepare      # when it runs
        self.cure = cure
        self.cured_by = cured_by


def no_hotfix(machine):
    home = machine.path(HOME)
    (home / 'deploy/uninstall.hotfix.xml').unlink()
    records = home / 'installInfo.plist'
    lines = records.read_text().splitlines(keepends=True)
    kept = [line for at, line in enumerate(lines)
            if not any(key in near for key in ('SKIPRUNNINGCHECK', 'hotfixVersion', 'installedHotfixBundleID')
                       for near in (line, lines[at - 1]))]
    records.write_text(''.join(kept))


def no_java(machine):
    shutil.rmtree(machine.root / JAVA)


def planted_link(machine):
    """A link in the workspace to a file of root outside it."""
    target = machine.path('etc/rehearsal/of-root')
    target.write_text('not to be given away\n')
    target.chmod(0o600)
    link = machine.path(DATA + '/mail/planted')
    link.symlink_to('/etc/rehearsal/of-root')


def read_only(machine):
    folder = machine.root / 'Applications'
    call('mount', '--bind', folder, folder)
    call('mount', '-o', 'remount,bind,ro', folder)


def unrecorded(machine):
    """A manifest without a record of its hotfix."""
    records = machine.path(HOME + '/installInfo.plist')
    lines = records.read_text().splitlines(keepends=True)
    at = next(i for i, line in enumerate(lines) if 'hotfixVersion' in line)
    del lines[at:at + 2]
    records.write_text(''.join(lines))


def asked(machine):
    shutil.copy(HERE / 'stand-ins/ask-to-quit', machine.path('var/db/ask-to-quit'))
    machine.start_platform()


def write(path, text):
    return lambda machine: machine.path(path).write_text(text)


def way_out(machine):
    """Runs the commands that the tool prints, as a person would with sudo."""
    for words in machine.state()['wayOut']:
        words = [word for word in words if word != 'sudo']
        machine.run(*words)


ASKED = {'hotfix_remove_on_running': 'ask', 'hotfix_remove_running_interval': 1, 'hotfix_remove_running_timeout': 120,
         'hotfix_remove_ask_command': ['/var/db/ask-to-quit']}

KINDS = {
    'ready': Kind('hotfix installed', 'changed', 'changed', 'ok', 'ok'),
    'none': Kind('no hotfix installed', 'ok', 'ok', 'ok', 'ok', final='none', prepare=no_hotfix),
    'running': Kind('platform running', 'failed: running', 'failed: running', 'failed: running',
                    prepare=lambda machine: machine.start_platform(), cure=lambda machine: machine.quit_platform(),
                    cured_by='alice quit the platform'),
    'asked': Kind('platform running, its user quits when asked', 'changed', 'changed', 'ok', 'ok', variables=ASKED,
                  prepare=asked),
    'failing': Kind('the platform fails', 'changed', 'failed: platform-failed', 'failed: state-failed',
                    prepare=write('etc/rehearsal/result', '1\n'),
                    cure=lambda machine: machine.path('etc/rehearsal/result').unlink(),
                    cured_by='the platform was repaired; the role recovered from the failed removal'),
    'interrupted': Kind('power lost during an earlier removal', 'failed: state-interrupted',
                        'failed: state-interrupted', 'failed: state-interrupted',
                        prepare=lambda machine: machine.interrupt_a_removal(),
                        cured_by='the role recovered from the interrupted removal'),
    'linked': Kind('a link in the workspace leads to a file of root', 'changed', 'changed', 'ok', 'ok',
                   prepare=planted_link),
    'no-java': Kind('no Java runtime', 'changed', 'changed', 'ok', 'ok', prepare=no_java),
    'read-only': Kind('applications on a read-only volume', 'failed: not-possible', 'failed: not-possible',
                      'failed: not-possible', before=read_only,
                      cure=lambda machine: machine.remount_applications('rw'),
                      cured_by='the volume was mounted for writing'),
    'inconsistent': Kind('a manifest without a record', 'failed: state-inconsistent', 'failed: state-inconsistent',
                         'failed: state-inconsistent', third='ok', prepare=unrecorded, cure=way_out,
                         cured_by='a person examined it, and ran the printed commands'),
    # Without pipelining, the engine first makes a folder. With it, it reports a machine that does not answer as one that
    # lacks the module.
    'off': Kind('switched off', 'unreachable', 'unreachable', 'unreachable', variables={'ansible_pipelining': False},
                prepare=lambda machine: machine.switch_off(), cure=lambda machine: machine.switch_on(),
                cured_by='it was switched on'),
}


def mixed(count):
    """The kinds of an estate: one of each special kind, more of some in a large estate. All others are ready."""
    special = ['running', 'failing', 'interrupted', 'linked', 'no-java', 'read-only', 'none', 'off', 'inconsistent',
               'asked']
    kinds = special[:max(0, count - 1)]
    if count >= 30:
        kinds += ['none'] * (count // 10) + ['running'] * (count // 25) + ['failing', 'interrupted']
    return ['ready'] * (count - len(kinds)) + kinds

#!/usr/bin/python
# -*- coding: utf-8 -*-

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
module: instance
short_description: Removes the hotfix from an instance of the client platform, and verifies that it is gone
description:
  - Reads the state of the instance with C(hotfixInspect), and runs C(hotfixUninstall) if a hotfix can be removed. Reports
    a change only for a removal that was verified afterwards.
  - Does nothing if there is no hotfix. Fails with the reason if the state of the instance needs a person.
  - The next run completes a run that was interrupted at any point.
version_added: "1.0.0"
author:
  - hotfixUninstall developers
options:
  home:
    description: Home folder of the instance, an absolute path.
    type: str
    required: true
  data:
    description:
      - Data folder of the instance, the workspace.
      - The default is the folder that the instance has recorded, otherwise C(systemdata) in the home folder. A folder that
        is recorded for any user is that of the only user who has such a folder. If several have one, the folder or the
        owner must be given.
    type: str
  owner:
    description:
      - The future owner of the workspace. The default is the owner of the data folder.
      - Must be given if that is root.
    type: str
  leave_failed:
    description: Whether to recover from a removal that failed or was interrupted, with the commands that the tool prints.
    type: bool
    default: false
  on_running:
    description:
      - The action if the platform is running. The module never ends it.
      - C(fail) fails at once, C(wait) waits until the user quits it, C(ask) asks its user to quit first.
    type: str
    choices: [fail, wait, ask]
    default: fail
  running_timeout:
    description: Seconds to wait until the user quits the platform.
    type: int
    default: 600
  running_interval:
    description: Seconds between two checks whether the platform is running.
    type: int
    default: 10
  ask_command:
    description:
      - Program with arguments that asks the user to quit. It runs as root for each user, with the name, the user ID and the
        text in C(HOTFIX_USER), C(HOTFIX_UID) and C(HOTFIX_TEXT).
      - The default is a dialog of macOS in the session of the user.
    type: list
    elements: str
    default: []
  no_instance:
    description: The result if there is no such instance.
    type: str
    choices: [fail, ok]
    default: fail
  undecided:
    description: The result if nothing contradicts the removal and some points could not be verified.
    type: str
    choices: [accept, fail]
    default: accept
  state_folder:
    description:
      - Folder of root on the machine for the state before a removal, the evidence of a failed removal, and the lock that
        other engines take too.
    type: str
    default: /var/db/hotfixUninstall
  lock_timeout:
    description: Seconds to wait for the end of another removal on the machine, by any engine.
    type: int
    default: 600
  inspect_program:
    description: Path of hotfixInspect. Without it, the places that the packages use are searched.
    type: str
  uninstall_program:
    description: Path of hotfixUninstall. Without it, the places that the packages use are searched.
    type: str
attributes:
  check_mode:
    description: Runs a preview and reports what a removal would change. Changes nothing.
    support: full
  diff_mode:
    description: Shows the files and the workspace before and after.
    support: full
'''

EXAMPLES = r'''
- name: Remove the hotfix
  hotfix.removal.instance:
    home: /Applications/Vantelmor.app/Contents/MacOS/rcp
    data: /Users/alice/Vantelmor Data
  become: true

- name: Finish what failed earlier
  hotfix.removal.instance:
    home: /Applications/Vantelmor.app/Contents/MacOS/rcp
    leave_failed: true
    on_running: wait
  become: true
'''

RETURN = r'''
state_before:
  description: The state of the instance before the run.
  returned: always
  type: str
  sample: removable
state:
  description: The state after the run.
  returned: always
  type: str
  sample: removed
cause:
  description: One word for the cause of the failure.
  returned: failure
  type: str
  sample: running
points:
  description: The verified points.
  returned: when a removal was verified
  type: list
  elements: dict
way_out:
  description: The commands that repair the state, ready to paste.
  returned: always
  type: list
  elements: str
evidence:
  description: An archive on the machine for support, with the trace, the collected logs and the documents.
  returned: when a removal was tried and failed, now or earlier
  type: str
seconds:
  description: The duration on the machine.
  returned: always
  type: float
notes:
  description: Remarks for a person.
  returned: always
  type: list
  elements: str
'''

import os
import pwd
import time

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.hotfix.removal.plugins.module_utils.hotfix import (
    Failure, Programs, StateFolder, resolve, shown, words_for_shell)

ASK_TEXT = 'A correction of %s has to be removed. Please save your work and quit it.'
# The text is an argument, so that no name can become a part of the script.
ASK_SCRIPT = ['-e', 'on run argv',
              '-e', 'display dialog (item 1 of argv) buttons {"OK"} default button 1 giving up after 60',
              '-e', 'end run']


def entry_text(entry):
    if entry is None:
        return 'absent'
    text = '%s %s:%s %s' % (entry['kind'], shown(entry['user']) or entry['uid'],
                            shown(entry['group']) or entry['gid'], entry['mode'])
    if entry.get('size') is not None:
        text += ' %d bytes' % entry['size']
    if entry.get('copyOf'):
        text += ' copied from %s' % shown(entry['copyOf'])
    return text


def difference(preview):
    """The changes that a preview predicts, in the form of Ansible's differences."""
    before, after = [], []
    for file in preview['files']:
        path = shown(file['path'])
        before.append('%s: %s' % (path, entry_text(file['before'])))
        moved = file.get('movedTo')
        after.append('%s: %s' % (path, 'moved to ' + shown(moved) if moved else entry_text(file['after'])))
        content = (file['after'] or {}).get('content')
        if content and len(shown(content)) < 4096:
            after += ['    ' + line for line in shown(content).splitlines()]
    for repair in preview['repairs'][:1]:
        folder = shown(repair['folder'])
        before.append('%s: %d entries, %d of another owner, group or mode'
                      % (folder, repair['entries'], repair['changed']))
        after.append('%s: %d entries, %d of another owner, group or mode'
                     % (folder, repair['entries'], repair['failed']))
    return dict(before='\n'.join(before) + '\n', after='\n'.join(after) + '\n',
                before_header='the instance as it is', after_header='the instance after the removal')


class Removal(object):
    """The removal from one instance."""

    def __init__(self, module):
        self.module = module
        self.parameters = module.params
        self.home = module.params['home'].rstrip('/') or '/'
        self.data = None
        self.programs = Programs(module, module.params['inspect_program'], module.params['uninstall_program'])
        self.folder = StateFolder(module.params['state_folder'], self.home)
        self.now = None
        self.result = dict(changed=False, home=self.home, notes=[], way_out=[], state_before=None, state=None)

    def look(self):
        self.now = self.programs.status(self.home, self.data)
        self.result['state'] = self.now['state']
        self.result['way_out'] = [words_for_shell(words) for words in self.now['wayOut']]

    def note(self, text):
        if text not in self.result['notes']:
            self.result['notes'].append(text)

    # ----- By state -----

    def run(self):
        self.now, self.data, owner = resolve(self.programs, self.home, self.parameters['data'],
                                             self.parameters['owner'])
        self.result.update(data=self.data, owner=owner, state_before=self.now['state'])
        if self.now['state'] != 'no-instance' and not self.module.check_mode and self.is_anything_to_do():
            self.folder.make()
            self.folder.lock(self.parameters['lock_timeout'])
        if self.now['state'] != 'no-instance':
            self.look()  # another run may have ended meanwhile
            self.result['state_before'] = self.now['state']
        self.result['state'] = self.now['state']
        getattr(self, 'from_' + self.now['state'].replace('-', '_'))()

    def is_anything_to_do(self):
        if self.now['state'] in ('none', 'removed'):
            return os.path.exists(self.folder.before_file)
        return True

    def from_none(self):
        if os.path.exists(self.folder.before_file):
            self.result['changed'] = True
            self.result['msg'] = 'An earlier run removed the hotfix and was ended before it reported this'
            if not self.module.check_mode:
                self.verify()
        else:
            self.result['msg'] = 'No hotfix is there'

    from_removed = from_none

    def from_no_instance(self):
        evidence = '; '.join(shown(text) for text in self.now['evidence'])
        if self.parameters['no_instance'] == 'fail':
            raise Failure('no-instance', 'There is no instance in %s: %s' % (self.home, evidence))
        self.result['msg'] = 'No instance is there'

    def from_removable(self):
        preview = self.programs.preview(self.home, self.data)
        if preview['firstFailedCheck'] == 'not running':
            self.wait_until_quit(shown(preview['reason']))
            if not self.module.check_mode:
                self.look()
                preview = self.programs.preview(self.home, self.data)
        for warning in preview['warnings']:
            self.note(shown(warning['text']))
        if preview['exitStatus'] != 0 and preview['firstFailedCheck'] != 'not running':
            raise Failure('not-possible', 'The hotfix cannot be removed: %s' % shown(preview['reason']))
        self.result['diff'] = difference(preview)
        if self.module.check_mode:
            self.result['changed'] = True
            self.result['msg'] = 'The hotfix would be removed'
            return
        kept = self.folder.read('.before.json')
        if not kept or kept['records']['hotfixVersion'] != self.now['records']['hotfixVersion']:
            self.folder.write('.before.json', self.now)
        status, out, err = self.programs.uninstall(self.home, self.data, self.folder)
        self.conclude(status, err)

    def from_failed(self):
        """Recovers from a removal that is not complete, if that is requested."""
        evidence = '; '.join(shown(text) for text in self.now['evidence'])
        reason = 'An earlier removal %s: %s' % ('failed' if self.now['state'] == 'failed' else 'was interrupted', evidence)
        last = self.folder.read('.failure.json')
        if last and not last['cause'].startswith('state-'):
            reason += '. The reason then was: %s' % last['reason']
        if not self.parameters['leave_failed']:
            raise Failure('state-' + self.now['state'], reason)
        if self.now['processes'] and shown(self.now['records']['SKIPRUNNINGCHECK']) != 'true':
            process = self.now['processes'][0]
            self.wait_until_quit('the platform is running: process %d of the user %s'
                                 % (process['pid'], shown(process['user'])))
        commands = self.now['wayOut']
        self.result['diff'] = dict(before='%s: %s\n' % (self.home, self.now['state']),
                                   after='%s: removed, by\n' % self.home
                                   + ''.join('    %s\n' % words_for_shell(words) for words in commands))
        if self.module.check_mode:
            self.result['changed'] = True
            self.result['msg'] = 'The removal would be done again'
            return
        # The oldest document has the most records, because a removal clears them one by one.
        if not os.path.exists(self.folder.before_file):
            self.folder.write('.before.json', self.now)
        for words in commands:
            status, out, err = self.programs.carry_out(words, self.home, self.data, self.folder)
            if 'hotfixUninstall' in [shown(word) for word in words]:
                self.conclude(status, err)
                return
            if status != 0:
                raise Failure('not-possible', '%s failed: %s' % (words_for_shell(words), err.strip()), is_tried=True)
        raise Failure('state-' + self.now['state'], reason + '. No command is known that repairs it')

    from_interrupted = from_failed

    def from_inconsistent(self):
        # A run of this module that was killed after it had put the manifest back leaves this state too.
        if (self.parameters['leave_failed'] and os.path.exists(self.folder.before_file)
                and self.now['manifests']['uninstall'] and self.now['wayOut']):
            self.from_failed()
            return
        evidence = '; '.join(shown(text) for text in self.now['evidence'])
        raise Failure('state-inconsistent', 'The state of the instance needs a person: %s' % evidence)

    # ----- Steps -----

    def wait_until_quit(self, reason):
        policy = self.parameters['on_running']
        if policy == 'fail':
            raise Failure('running', 'The hotfix is not removed now: %s' % reason)
        if self.module.check_mode:
            self.note('The removal would wait: %s' % reason)
            return
        if policy == 'ask':
            self.ask()
        end = time.time() + self.parameters['running_timeout']
        while True:
            self.look()
            if not self.now['processes']:
                return
            if time.time() >= end:
                raise Failure('running', 'The user did not quit the platform within %d s: %s'
                              % (self.parameters['running_timeout'], reason))
            time.sleep(self.parameters['running_interval'])

    def ask(self):
        self.look()
        text = ASK_TEXT % os.path.basename(shown(self.now['bundle'])).replace('.app', '')
        for user in sorted(set(shown(process['user']) for process in self.now['processes'])):
            try:
                uid = str(pwd.getpwnam(user).pw_uid)
            except KeyError:
                continue
            words = self.parameters['ask_command'] or (
                ['/bin/launchctl', 'asuser', uid, '/usr/bin/sudo', '-u', user, '/usr/bin/osascript'] + ASK_SCRIPT + [text])
            status, out, err = self.module.run_command(
                words, expand_user_and_vars=False, handle_exceptions=False,
                environ_update=dict(HOTFIX_USER=user, HOTFIX_UID=uid, HOTFIX_TEXT=text)) if os.access(words[0], os.X_OK) \
                else (127, '', 'there is no ' + words[0])
            if status != 0:
                self.note('%s could not be asked to quit: %s' % (user, err.strip()))

    def conclude(self, status, err):
        """Inspects the instance after the tool has ended, whatever its exit status."""
        self.look()
        if status == 0 and self.now['state'] in ('removed', 'none'):
            self.verify()
            return
        lines = [line.strip() for line in err.splitlines() if line.strip()]
        reasons = [line for line in lines if line.startswith('The hotfix was not removed')] or lines[-1:]
        reason = reasons[0] if reasons else 'hotfixUninstall ended with status %d: %s' % (
            status, '; '.join(shown(text) for text in self.now['evidence']))
        if self.now['state'] == 'failed':
            raise Failure('platform-failed', reason, is_tried=True)
        raise Failure('not-removed', '%s The state now is %s.' % (reason, self.now['state']), is_tried=True)

    def verify(self):
        document = self.programs.verify(self.folder.before_file)
        self.result['points'] = document['points']
        open_points = ['%s: %s' % (point['point'], shown(point['text'])) for point in document['points']
                       if point['answer'] != 'yes']
        if document['removed'] == 'no' or document['removed'] != 'yes' and self.parameters['undecided'] == 'fail':
            raise Failure('not-verified', 'The removal was not verified: ' + '; '.join(open_points), is_tried=True)
        for point in open_points:
            self.note('Not looked at: ' + point)
        self.folder.settle()
        self.result['changed'] = True
        self.result.setdefault('msg', 'The hotfix was removed, and that was verified')

    def is_for_support(self, failure):
        """Whether this run or an earlier one has left evidence. Changes nothing."""
        is_left = failure.cause in ('state-failed', 'state-interrupted', 'state-inconsistent')
        return (not self.module.check_mode and self.folder.descriptor is not None
                and (is_left or failure.details.get('is_tried', False)))

    def evidence_of(self, failure):
        """Stores the evidence for support. An error here must not hide the reason."""
        if not failure.details.get('is_tried') and self.folder.read('.failure.json') and self.folder.has_packed():
            # Nothing has happened since, and a run that does nothing changes nothing.
            self.result['evidence'] = self.folder.packed_file
            return
        self.folder.write('.failure.json', dict(cause=failure.cause, reason=failure.reason,
                                                time=time.strftime('%Y-%m-%dT%H:%M:%SZ', time.gmtime())))
        documents = dict(before=self.folder.read('.before.json'), now=self.now, failure=self.folder.read('.failure.json'),
                         points=self.result.get('points'))
        logs = (self.now or {}).get('logs', {})
        files = [shown(log['path']) for log in [logs.get('trace')] if log]
        self.result['evidence'] = self.folder.pack(documents, files, os.path.join(self.home, 'deploy', 'installHistory'))


def main():
    module = AnsibleModule(
        argument_spec=dict(
            home=dict(type='str', required=True),
            data=dict(type='str'),
            owner=dict(type='str'),
            leave_failed=dict(type='bool', default=False),
            on_running=dict(type='str', choices=['fail', 'wait', 'ask'], default='fail'),
            running_timeout=dict(type='int', default=600),
            running_interval=dict(type='int', default=10),
            ask_command=dict(type='list', elements='str', default=[]),
            no_instance=dict(type='str', choices=['fail', 'ok'], default='fail'),
            undecided=dict(type='str', choices=['accept', 'fail'], default='accept'),
            state_folder=dict(type='str', default='/var/db/hotfixUninstall'),
            lock_timeout=dict(type='int', default=600),
            inspect_program=dict(type='str'),
            uninstall_program=dict(type='str'),
        ),
        supports_check_mode=True)
    removal = Removal(module)
    began = time.time()
    try:
        removal.run()
    except Failure as failure:
        if removal.is_for_support(failure):
            try:
                removal.evidence_of(failure)
            except (OSError, IOError, Failure) as error:
                removal.note('The evidence could not be kept: %s' % error)
        removal.result.update(cause=failure.cause, changed=False, seconds=round(time.time() - began, 2))
        module.fail_json(msg=failure.reason, **removal.result)
    module.exit_json(seconds=round(time.time() - began, 2), **removal.result)


if __name__ == '__main__':
    main()

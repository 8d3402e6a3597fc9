#!/usr/bin/python3
"""The rehearsal: Ansible removes a hotfix from throw-away machines, and each is compared with its expected outcome.

scripts/fleet-rehearsal starts it in separate namespaces.
"""

import argparse
import json
import pathlib
import subprocess
import sys
import time

import report
from engine import Engine
from estate import DATA, HERE, HOME, STATE_FOLDER, Base, Machine
from kinds import KINDS, mixed
from look import look


class Rehearsal:
    def __init__(self, options):
        self.options = options
        self.work = pathlib.Path(options.work)
        collections = self.work / 'collections/ansible_collections/hotfix'
        collections.mkdir(parents=True)
        subprocess.run(['cp', '-R', options.collection, collections / 'removal'], check=True)
        self.base = Base(self.work, options.build, options.checkout)
        self.engine = Engine(self.work, self.work / 'collections', options.forks)
        self.checks = []
        self.machines = []
        self.runs = []
        self.began = time.monotonic()

    # ----- Checks -----

    def check(self, text, wrong):
        """wrong: the findings against it, a list."""
        self.checks.append({'check': text, 'passed': not wrong, 'wrong': wrong[:20]})
        print(f'{"yes" if not wrong else "NO ":3}  {text}', flush=True)
        for line in wrong[:20]:
            print(f'       {line}')

    def section(self, text):
        print(f'\n===== {text} =====\n', flush=True)

    # ----- Machines -----

    def make(self, prefix, kinds):
        machines = []
        for number, kind in enumerate(kinds, 1):
            machine = Machine(self.base, f'{prefix}{number:03}', kind)
            machine.variables = KINDS[kind].variables
            machine.story = []
            if KINDS[kind].before:
                KINDS[kind].before(machine)
            machine.boot()
            if KINDS[kind].prepare:
                KINDS[kind].prepare(machine)
            machines.append(machine)
        return machines

    def tell(self, machine, step, outcome, text='', seconds=None):
        machine.story.append({'step': step, 'outcome': outcome, 'text': text, 'seconds': seconds})

    def run(self, step, title, machines, *options):
        run = self.engine.run(machines, *options)
        wrong = []
        outcomes = {}
        for machine in machines:
            outcome = run.outcome(machine.name)
            outcomes[outcome] = outcomes.get(outcome, 0) + 1
            item = run.item(machine.name)
            text = run.reason(machine.name)
            if item.get('notes'):
                text += ' (' + ' '.join(item['notes']) + ')'
            if item.get('seconds') is not None and outcome == 'changed' and step != 'check':
                machine.seconds = item['seconds']
            self.tell(machine, title, outcome, text, item.get('seconds'))
            if outcome != KINDS[machine.kind].expected[step]:
                wrong.append(f'{machine.name} ({KINDS[machine.kind].title}): {outcome} instead of '
                             f'{KINDS[machine.kind].expected[step]}. {text[:300]}')
        self.runs.append({'run': title, 'seconds': round(run.seconds, 1), 'outcomes': outcomes,
                          'controllerSeconds': round(run.controller_seconds, 1),
                          'targetSeconds': round(run.target_seconds, 1), 'controllerMiB': run.controller_memory})
        print(f'     {title}: {run.seconds:.0f} s, '
              + ', '.join(f'{count} {outcome}' for outcome, count in sorted(outcomes.items())))
        self.check(f'{title}: every outcome and every cause is the expected one', wrong)
        return run

    def digests(self):
        return {machine.name: machine.digests() for machine in self.machines}

    def unchanged(self, text, before):
        now = self.digests()
        wrong = []
        for name, entries in before.items():
            if entries != now[name]:
                paths = [path for path in entries.keys() | now[name].keys()
                         if entries.get(path) != now[name].get(path)]
                wrong.append(f'{name}: {len(paths)} entries, {", ".join(sorted(paths)[:5])}')
        self.check(text, wrong)

    # ----- The rehearsal itself -----

    def estate(self):
        self.section('The estate')
        self.machines = self.make('m', mixed(self.options.hosts))
        for machine in self.machines:
            machine.before = machine.state()['state']
            self.tell(machine, 'before', machine.before, KINDS[machine.kind].title)
        counts = {}
        for machine in self.machines:
            counts[machine.kind] = counts.get(machine.kind, 0) + 1
        for kind, count in counts.items():
            print(f'     {count:4}  {KINDS[kind].title}')

    def rollout(self):
        self.section('Check mode')
        before = self.digests()
        run = self.run('check', 'check mode', self.machines, '--check', '--diff')
        self.unchanged('check mode changed nothing on any machine', before)
        self.check('check mode shows what would change', [
            machine.name for machine in self.machines
            if run.outcome(machine.name) == 'changed' and not run.item(machine.name).get('diff')])

        self.section('First run')
        first = self.run('first', 'first run', self.machines)
        self.check('the controller has the evidence of every failed removal, including earlier ones', [
            machine.name for machine in self.machines
            if first.outcome(machine.name).startswith(('failed: platform', 'failed: state'))
            and not list((self.engine.evidence / machine.name).glob('*.tar.gz'))])

        self.section('Second run')
        before = self.digests()
        self.run('second', 'second run', self.machines)
        self.unchanged('the second run changed nothing on any machine', before)

        self.section('Remedies, and a third run')
        for machine in self.machines:
            kind = KINDS[machine.kind]
            if kind.cure:
                kind.cure(machine)
            if kind.cured_by:
                self.tell(machine, 'remedy', 'done', kind.cured_by)
        self.run('third', 'third run', self.machines, '-e', '{"hotfix_remove_leave_failed": true}')

    def final(self):
        wrong, owners, kept, unknown = [], [], [], []
        for machine in self.machines:
            document = machine.state()
            machine.after = document['state']
            self.tell(machine, 'after', machine.after, '; '.join(map(str, document['evidence'])))
            kind = KINDS[machine.kind]
            if machine.after not in ('none', 'removed'):
                unknown.append(f'{machine.name}: {machine.after}')
            if machine.after != kind.final:
                wrong.append(f'{machine.name} ({kind.title}): {machine.after} instead of {kind.final}')
            if kind.final == 'removed' and machine.wrong_owners():
                owners.append(f'{machine.name}: {machine.wrong_owners()[0]}')
            if kind.final == 'removed' and list(machine.path(HOME + '/eclipse/plugins').glob('com.qor.hotfix_*')):
                wrong.append(f'{machine.name}: a plug-in of the hotfix is still there')
            planted = machine.path('etc/rehearsal/of-root')
            if planted.exists() and (planted.stat().st_uid, planted.stat().st_mode & 0o777) != (0, 0o600):
                kept.append(f'{machine.name}: {planted}')
            if list(machine.path(STATE_FOLDER).glob('*.before.json')):
                wrong.append(f'{machine.name}: a removal was begun and never reported')
        self.check('no machine is in an unknown state', unknown)
        self.check('every machine is in its expected final state, and the plug-ins of the hotfix are removed', wrong)
        self.check('every workspace belongs to its user', owners)
        self.check('the target of a planted link is unchanged', kept)

    def killed(self):
        """Kills the engine during removals, cuts the power of one machine, and runs the engine again."""
        self.section('The engine killed in the middle')
        machines = self.make('k', ['ready'] * max(4, self.options.hosts // 5))
        for machine in machines:
            machine.path('etc/rehearsal/seconds').write_text('1\n')

        def begun():
            return [machine for machine in machines
                    if not machine.path(HOME + '/deploy/uninstall.hotfix.xml').exists()]

        came = self.engine.run_and_kill(machines, lambda: len(begun()) >= min(2, len(machines)))
        time.sleep(0.2)
        lost = begun()[:1]
        states = {machine.name: machine.state()['state'] for machine in machines}
        for machine in lost:
            machine.reboot()
        self.check('the engine was killed while removals ran', [] if came and begun() else ['it had ended before'])
        run = self.engine.run(machines, '-e', '{"hotfix_remove_leave_failed": true}')
        wrong = []
        for machine in machines:
            state, outcome = machine.state()['state'], run.outcome(machine.name)
            if (state, outcome) != ('removed', 'changed') or list(machine.path(STATE_FOLDER).glob('*.before.json')):
                wrong.append(f'{machine.name}: {outcome}, {state}. {run.reason(machine.name)[:300]}')
            machine.before, machine.after = states[machine.name], state
            self.tell(machine, 'engine killed', states[machine.name],
                      'the machine lost its power too' if machine in lost else '')
            self.tell(machine, 'run again', outcome, run.reason(machine.name))
        self.check('the next run completed and reported every removal', wrong)
        again = self.engine.run(machines)
        self.check('a further run changes nothing', [
            machine.name for machine in machines if again.outcome(machine.name) != 'ok'])
        self.kill_machines = machines

    def naive(self):
        """A shell task with "removes:" reports a failed removal as done."""
        self.section('A shell task instead of the role')
        machine, = self.make('n', ['failing'])
        first = self.engine.run([machine], playbook=HERE / 'naive.yml')
        second = self.engine.run([machine], playbook=HERE / 'naive.yml')
        state = machine.state()['state']
        role = self.engine.run([machine])
        self.naive_story = [
            {'run': 'shell task, first run', 'says': first.outcome(machine.name).split(':')[0]},
            {'run': 'shell task, second run', 'says': second.outcome(machine.name).split(':')[0]},
            {'run': 'hotfixInspect status', 'says': state},
            {'run': 'the role', 'says': role.outcome(machine.name)}]
        for line in self.naive_story:
            print(f'     {line["run"]}: {line["says"]}')
        says = [line['says'] for line in self.naive_story]
        self.check('a shell task reports a failed removal as done; the role does not',
                   [] if says == ['failed', 'ok', 'failed', 'failed: state-failed'] else says)

    def administrator(self):
        """The playbooks of the collection, on machines where the instances are searched."""
        self.section('The playbooks of the collection')
        machines = self.make('a', ['ready', 'none', 'ready', 'failing'])
        look = self.engine.run(machines, playbook='hotfix.removal.look', is_told=False)
        wrong = []
        for machine in machines:
            told, state = look.last(machine.name).get('hotfix_found.states'), machine.state()['state']
            print(f'     {machine.name}: look: {told}')
            if told != {state: 1} or look.outcome(machine.name) != 'ok':
                wrong.append(f'{machine.name}: {told} instead of {state}')
        file = self.work / 'collections/ansible_collections/hotfix/removal/tests/scenario.yml'
        scenario = self.engine.run(machines[:1], playbook=file, is_told=False)
        if scenario.status != 0:
            wrong.append(f'the scenario: {scenario.text[-1000:]}')
        # In batches of one, one and all. The first failure ends the run.
        roll = self.engine.run(machines, playbook='hotfix.removal.remove', is_told=False)
        outcomes = [roll.outcome(machine.name) for machine in machines]
        print(f'     remove: {", ".join(outcomes)}')
        if outcomes != ['ok', 'ok', 'changed', 'failed: platform-failed']:
            wrong.append(f'remove: {outcomes}')
        if not list((self.engine.evidence / machines[-1].name).glob('*.tar.gz')):
            wrong.append('there is no evidence where Ansible was started')
        self.check('the playbooks find the instances, show the states and remove the hotfix', wrong)

    def management(self):
        """The scripts for Munki and Jamf Pro, with the real programs, called as these engines call them."""
        self.section('Munki and Jamf Pro')
        ready, failing, busy = self.make('s', ['ready', 'failing', 'ready'])
        made = self.work / 'made'
        subprocess.run([f'{self.options.checkout}/fleet/mac/make-scripts', '--home', HOME, '--data',
                        '/Users/%u/Vantelmor Data', '--programs', '/usr/sbin', '--to', made],
                       check=True, stdout=subprocess.DEVNULL)
        munki = ['/var/tmp/as-munki', '/var/tmp/made/munki/HotfixRemoval-1.0.plist']
        attribute = '/var/tmp/made/jamf/extension-attribute.sh'
        policy = ['/var/tmp/made/jamf/policy.sh', '/', 'a Mac', '']
        # Daemons of the system start the scripts: no user, no home folder.
        environment = ['env', '-i', 'PATH=/usr/bin:/bin:/usr/sbin:/sbin']
        wrong = []

        def expect(machine, status, text, *words):
            answer = machine.run(*environment, *words)
            if answer.returncode != status or text not in answer.stdout:
                wrong.append(f'{machine.name}: {words[0]}: {answer.returncode} {answer.stdout}{answer.stderr}')
            print(f'     {machine.name}: {words[0].split("/")[-1]}: {answer.stdout.strip()}')

        for machine in (ready, failing, busy):
            subprocess.run(['cp', '-R', made, f'{self.options.checkout}/Tests/Fleet/as-munki', machine.path('var/tmp')],
                           check=True)
        expect(ready, 0, '<result>removable</result>', attribute)
        expect(ready, 0, 'removed: The hotfix was removed', *munki)
        expect(ready, 0, 'nothing to do', *munki)
        expect(ready, 0, '<result>removed</result>', attribute)
        expect(ready, 0, 'There is no hotfix to remove', *policy)
        expect(failing, 1, 'failed: ', *munki)
        expect(failing, 1, 'failed: an earlier removal failed', *munki)
        expect(failing, 0, '<result>failed</result>', attribute)
        KINDS['failing'].cure(failing)
        expect(failing, 0, 'The hotfix was removed', *policy, '', '', '', 'yes')
        for machine in (ready, failing):
            if machine.state()['state'] != 'removed' or machine.wrong_owners():
                wrong.append(f'{machine.name}: {machine.state()["state"]} {machine.wrong_owners()}')
        self.check('the scripts for Munki and Jamf Pro remove, verify, and report every failure', wrong)
        self.two_engines(busy, [*environment, *policy])

    def two_engines(self, machine, policy):
        """Ansible starts during a removal by Jamf Pro."""
        hold = machine.path('etc/rehearsal/hold')
        hold.touch()
        other = machine.start(*policy)
        end = time.monotonic() + 60
        while machine.path(HOME + '/deploy/uninstall.hotfix.xml').exists() and time.monotonic() < end:
            time.sleep(0.05)
        machine.variables = {'hotfix_remove_lock_timeout': 0}
        during = self.engine.run([machine]).outcome(machine.name)
        hold.unlink()
        status = other.wait()
        after = self.engine.run([machine]).outcome(machine.name)
        told = (during, status, after, machine.state()['state'])
        print(f'     {machine.name}: Ansible during the removal: {during}; after it: {after}')
        self.check('two engines do not remove at the same time',
                   [] if told == ('failed: locked', 0, 'ok', 'removed') else [str(told)])

    def document(self):
        def story(machine):
            return {'machine': machine.name, 'kind': KINDS[machine.kind].title, 'before': machine.before,
                    'after': machine.after, 'seconds': getattr(machine, 'seconds', None), 'story': machine.story}

        causes = {}
        for machine in self.machines:
            for step in machine.story:
                if step['step'] == 'first run' and step['outcome'].startswith(('failed', 'unreachable')):
                    cause = step['outcome'].replace('failed: ', '')
                    causes.setdefault(cause, []).append({
                        'machine': machine.name, 'kind': KINDS[machine.kind].title, 'reason': step['text'],
                        'remedy': KINDS[machine.kind].cured_by})
        return {'document': 'fleetRehearsal', 'schemaVersion': '1.0', 'hosts': len(self.machines),
                'forks': self.options.forks,
                'time': time.strftime('%Y-%m-%dT%H:%M:%SZ', time.gmtime()),
                'seconds': round(time.monotonic() - self.began, 1),
                'passed': all(check['passed'] for check in self.checks), 'checks': self.checks, 'runs': self.runs,
                'causes': causes, 'naive': getattr(self, 'naive_story', []),
                'machines': [story(machine) for machine in self.machines],
                'killed': [story(machine) for machine in getattr(self, 'kill_machines', [])]}


def main():
    parser = argparse.ArgumentParser()
    for name in ('work', 'build', 'checkout', 'collection', 'to'):
        parser.add_argument('--' + name, required=True)
    parser.add_argument('--hosts', type=int, required=True)
    parser.add_argument('--forks', type=int, required=True)
    parser.add_argument('--only-rollout', action='store_true')
    parser.add_argument('--no-browser', action='store_true')
    options = parser.parse_args()
    rehearsal = Rehearsal(options)
    rehearsal.estate()
    rehearsal.rollout()
    rehearsal.final()
    if not options.only_rollout:
        rehearsal.killed()
        rehearsal.naive()
        rehearsal.administrator()
        rehearsal.management()
    document = rehearsal.document()
    to = pathlib.Path(options.to)
    to.mkdir(parents=True, exist_ok=True)
    (to / 'fleet-rehearsal.json').write_text(json.dumps(document, indent=1) + '\n')
    page = to / 'fleet-rehearsal.html'
    page.write_text(report.page(document), encoding='utf-8')
    if not options.only_rollout and not options.no_browser:
        rehearsal.section('The report in a browser')
        rehearsal.check('the report is self-contained, and readable in light, in dark and on a phone',
                        look(document, page, to / 'pictures'))
    failed = sum(not check['passed'] for check in rehearsal.checks)
    print(f'\nReport: {page}\n')
    print(f'{len(rehearsal.checks) - failed} passed, {failed} failed')
    sys.exit(1 if failed else 0)


if __name__ == '__main__':
    main()

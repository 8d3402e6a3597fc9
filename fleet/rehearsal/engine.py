"""Runs Ansible on the machines, and reads its result for each."""

import json
import os
import pathlib
import resource
import signal
import subprocess
import threading
import time

from estate import DATA, HERE, HOME

TASK = 'Remove the hotfix'


class Engine:
    def __init__(self, work, collections, forks):
        self.work = work
        self.forks = forks
        self.environment = {
            'PATH': '/usr/bin:/bin:/usr/sbin:/sbin', 'HOME': str(work), 'PWD': str(work), 'LC_ALL': 'C.UTF-8',
            'ANSIBLE_COLLECTIONS_PATH': f'{collections}:/usr/lib/python3/dist-packages',
            'ANSIBLE_STDOUT_CALLBACK': 'ansible.posix.json', 'ANSIBLE_REMOTE_TMP': '/var/tmp/ansible',
            'ANSIBLE_LOCAL_TEMP': f'{work}/ansible-tmp', 'ANSIBLE_RETRY_FILES_ENABLED': 'false',
            'ANSIBLE_HOST_KEY_CHECKING': 'false', 'ANSIBLE_LOCALHOST_WARNING': 'false', 'ANSIBLE_NOCOLOR': '1',
            'ANSIBLE_CHROOT_EXE': str(HERE / 'enter'), 'ANSIBLE_PIPELINING': 'true',
            # Ansible assumes that the connection is root's. The account that it really uses needs sudo.
            'ANSIBLE_BECOME_ALLOW_SAME_USER': 'true',
        }
        self.evidence = work / 'evidence'

    def _inventory(self, machines, is_told):
        hosts = {machine.name: dict(machine.variables, ansible_host=str(machine.root)) for machine in machines}
        inventory = {'all': {'hosts': hosts, 'vars': {
            'ansible_connection': 'community.general.chroot', 'ansible_user': 'operator',
            'ansible_python_interpreter': '/usr/bin/python3', 'home': HOME, 'data': DATA}}}
        if is_told:
            inventory['all']['vars']['hotfix_remove_instances'] = [{'home': HOME, 'data': DATA}]
        file = self.work / 'inventory.json'
        file.write_text(json.dumps(inventory, indent=1))
        return file

    def start(self, machines, *options, playbook=HERE / 'remove.yml', is_told=True, output=subprocess.PIPE):
        """is_told: whether the inventory names the instances. Otherwise they are searched."""
        return subprocess.Popen(
            ['ansible-playbook', '--forks', str(self.forks), '-i', self._inventory(machines, is_told), *options,
             playbook], env=self.environment, cwd=self.work, stdin=subprocess.DEVNULL, stdout=output,
            stderr=subprocess.PIPE, text=True, start_new_session=True)

    def run(self, machines, *options, is_sampled=False, **more):
        for machine in machines:
            with open(f'{machine.root}.times', 'w', encoding='ascii'):
                pass
        began, before = time.monotonic(), resource.getrusage(resource.RUSAGE_CHILDREN)
        process = self.start(machines, *options, **more)
        memory = Memory(process.pid) if is_sampled else None
        out, err = process.communicate()
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        run = Run(out, err, process.returncode)
        run.seconds = time.monotonic() - began
        processor = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        taken = []
        for machine in machines:
            with open(f'{machine.root}.times', encoding='ascii') as file:
                taken += [line.split() for line in file]
        run.target_seconds = sum(float(user) + float(kernel) for user, kernel, _ in taken)
        run.target_memory = max((int(largest) for _, _, largest in taken), default=0) // 1024
        run.controller_seconds = max(0.0, processor - run.target_seconds)
        run.controller_memory = memory.most() if memory else after.ru_maxrss // 1024
        return run

    def run_and_kill(self, machines, when, *options):
        """Kills the engine with all its processes as soon as when() is true. Returns whether it was still running."""
        process = self.start(machines, *options, output=subprocess.DEVNULL)
        while process.poll() is None and not when():
            time.sleep(0.02)
        came = process.poll() is None
        if came:
            os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return came


class Memory(threading.Thread):
    """The peak memory of the engine and its forks. Shared pages count once."""

    def __init__(self, session):
        super().__init__(daemon=True)
        self._session = session
        self._most = 0
        self._has_ended = threading.Event()
        self.start()

    def run(self):
        while not self._has_ended.wait(0.5):
            self._most = max(self._most, self._now())

    def _now(self):
        total = 0
        for folder in pathlib.Path('/proc').glob('[0-9]*'):
            try:
                if os.getsid(int(folder.name)) != self._session or b'ansible-playbook' not in (folder / 'cmdline').read_bytes():
                    continue
                shares = (folder / 'smaps_rollup').read_text(encoding='ascii')
                total += next(int(line.split()[1]) for line in shares.splitlines() if line.startswith('Pss:'))
            except (OSError, StopIteration):
                pass
        return total // 1024

    def most(self):
        """The peak in MiB. Ends the sampling."""
        self._has_ended.set()
        self.join()
        return self._most


class Run:
    """The results of one run of the engine."""

    def __init__(self, out, err, status):
        self.status = status
        self.text = out + err
        try:
            document = json.loads(out[out.index('{'):])
        except ValueError:
            raise RuntimeError(f'Ansible ended with status {status}: {(out + err)[-3000:]}') from None
        self.stats = document['stats']
        self._results = {}
        for play in document['plays']:
            for task in play['tasks']:
                for host, result in task['hosts'].items():
                    self._results.setdefault(host, []).append((task['task']['name'].rsplit(' : ', 1)[-1], result))

    def item(self, host):
        """The result of the module for the one instance of the machine."""
        for name, result in self._results.get(host, []):
            if name == TASK and result.get('results'):
                return result['results'][0]
        return {}

    def outcome(self, host):
        stats = self.stats.get(host)
        if not stats:
            return 'not reached'
        if stats['unreachable']:
            return 'unreachable'
        if stats['failures']:
            return 'failed: ' + self.item(host).get('cause', 'unknown')
        return 'changed' if stats['changed'] else 'ok'

    def reason(self, host):
        if self.stats.get(host, {}).get('unreachable'):
            return 'The machine does not answer'
        item = self.item(host)
        if item.get('msg'):
            return item['msg']
        results = self._results.get(host, [])
        return str(results[-1][1].get('msg', '')) if results else ''

    def last(self, host):
        return self._results[host][-1][1]

#!/usr/bin/python3
"""Measures the cost of a removal on the controller and on the machines, and its growth with the number of machines.

scripts/fleet-rehearsal --measure starts it in separate namespaces. All machines have the hotfix. Their launcher ends
quickly, so the figures are those of the kit and the engine.
"""

import argparse
import json
import math
import os
import pathlib
import subprocess
import sys
import time

from engine import Engine
from estate import Base, Machine

RUNS = (('check mode', ['--check'], 'changed'), ('removal', [], 'changed'))
WAIT = 10  # seconds that a launcher takes, to measure the controller while it waits


def processor_of_all():
    """Seconds of all processors: busy, and in total."""
    words = [int(word) for word in pathlib.Path('/proc/stat').read_text(encoding='ascii').split('\n', 1)[0].split()[1:9]]
    tick = os.sysconf('SC_CLK_TCK')
    return (sum(words) - words[3] - words[4]) / tick, sum(words) / tick


class Measurement:
    def __init__(self, options):
        self.options = options
        work = pathlib.Path(options.work)
        collections = work / 'collections/ansible_collections/hotfix'
        collections.mkdir(parents=True)
        subprocess.run(['cp', '-R', options.collection, collections / 'removal'], check=True)
        self.base = Base(work, options.build, options.checkout)
        self.engine = Engine(work, work / 'collections', options.forks)
        self.lines = []
        self.wrong = 0

    def machines(self, prefix, count):
        machines = []
        for number in range(1, count + 1):
            machine = Machine(self.base, f'{prefix}{number:03}', 'ready')
            machine.variables = {}
            machine.boot()
            machines.append(machine)
        return machines

    def run(self, name, machines, options, expected):
        before = processor_of_all()
        run = self.engine.run(machines, *options, is_sampled=True)
        after = processor_of_all()
        own = run.controller_seconds + run.target_seconds
        wrong = [machine.name for machine in machines if run.outcome(machine.name) != expected]
        if wrong:
            self.wrong += len(wrong)
            print(f'NO   {name}: {wrong[0]}: {run.outcome(wrong[0])}: {run.reason(wrong[0])[:300]}')
        count = len(machines)
        line = {'machines': count, 'run': name, 'seconds': round(run.seconds, 2),
                'secondsEach': round(run.seconds / count, 3),
                'controllerSecondsEach': round(run.controller_seconds / count, 3),
                'controllerMiB': run.controller_memory,
                'targetSecondsEach': round(run.target_seconds / count, 3), 'targetMiB': run.target_memory,
                'othersShare': round(max(0.0, after[0] - before[0] - own) / max(0.01, after[1] - before[1]), 2)}
        seconds = sorted(run.item(machine.name).get('seconds') or 0 for machine in machines)
        line['moduleSecondsMedian'] = seconds[count // 2]
        self.lines.append(line)
        return line

    def size(self, count):
        machines = self.machines(f's{count}m', count)
        for name, options, expected in RUNS:
            line = self.run(name, machines, options, expected)
            print('| {machines} | {run} | {seconds:.1f} s | {secondsEach:.2f} s | {controllerSecondsEach:.2f} s | '
                  '{controllerMiB} MiB | {targetSecondsEach:.2f} s | {targetMiB} MiB | {othersShare:.0%} |'
                  .format(**line), flush=True)
        kept = self.kept(machines)
        for machine in machines:
            machine.discard()
        return kept

    def kept(self, machines):
        """KiB of the last machine's own files."""
        out = subprocess.run(['du', '-sk', self.base.work / 'layers' / machines[-1].name / 'changes'],
                             check=True, capture_output=True, text=True).stdout
        return int(out.split()[0])

    def waiting(self):
        """Processor seconds of the controller per second that its forks wait."""
        machines = self.machines('w', self.options.forks)
        for machine in machines:
            machine.path('etc/rehearsal/seconds').write_text(f'{WAIT}\n')
        waited = self.run('removal, the launcher takes %d s' % WAIT, machines, [], 'changed')
        for machine in machines:
            machine.discard()
        quick = next((line for line in self.lines if line['run'] == 'removal' and line['machines'] == len(machines)), None)
        if not quick:
            return None
        return max(0.0, (waited['controllerSecondsEach'] - quick['controllerSecondsEach']) * len(machines)
                   / (waited['seconds'] - quick['seconds']))

    def growth(self):
        """The exponent of the growth from one size to the next: 1 means that twice the machines cost twice as much."""
        rows = []
        for name, _, _ in RUNS:
            lines = [line for line in self.lines if line['run'] == name]
            for less, more in zip(lines, lines[1:]):
                def exponent(value):
                    return round(math.log(value(more) / value(less)) / math.log(more['machines'] / less['machines']), 2)
                rows.append({'run': name, 'from': less['machines'], 'to': more['machines'],
                             'time': exponent(lambda line: line['seconds']),
                             'controller': exponent(lambda line: line['controllerSecondsEach'] * line['machines']),
                             'memory': exponent(lambda line: line['controllerMiB']),
                             'target': exponent(lambda line: line['targetSecondsEach'] * line['machines'])})
        return rows


def main():
    parser = argparse.ArgumentParser()
    for name in ('work', 'build', 'checkout', 'collection', 'to'):
        parser.add_argument('--' + name, required=True)
    parser.add_argument('--hosts', required=True)
    parser.add_argument('--forks', type=int, required=True)
    options = parser.parse_args()
    measurement = Measurement(options)
    print(f'{os.cpu_count()} processors, {options.forks} forks, load {os.getloadavg()[0]:.1f} at the start\n')
    print('| Machines | Run | Whole run | Each | Controller, processor each | Controller, memory | Machine, processor | '
          'Machine, memory | Others |\n|---|---|---|---|---|---|---|---|---|', flush=True)
    began = time.monotonic()
    kept = [measurement.size(int(count)) for count in options.hosts.split(',') if count]
    waiting = measurement.waiting()
    print('\nGrowth from one number of machines to the next, as an exponent:\n')
    print('| Run | Machines | Time | Controller, processor | Controller, memory | Machines, processor |\n|---|---|---|---|---|---|')
    growth = measurement.growth()
    for row in growth:
        print('| {run} | {from} to {to} | {time} | {controller} | {memory} | {target} |'.format(**row))
    print()
    if waiting is not None:
        print(f'While its forks wait the controller takes {waiting:.2f} s of a processor each second.')
    print(f'A machine of the measurement has {max(kept)} KiB of its own. It all took {time.monotonic() - began:.0f} s.')
    to = pathlib.Path(options.to)
    (to / 'fleet-measurement.json').write_text(json.dumps(
        {'document': 'fleetMeasurement', 'schemaVersion': '1.0', 'processors': os.cpu_count(), 'forks': options.forks,
         'lines': measurement.lines, 'growth': growth, 'waitingShare': waiting}, indent=1) + '\n', encoding='utf-8')
    sys.exit(1 if measurement.wrong else 0)


main()

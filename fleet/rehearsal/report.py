"""The report of a rehearsal as one page: no script, no other file, the same bytes for the same document."""

import html

COLOURS = {
    # background and text of each; the word stands in it always, the colour is only a help
    'removed': ('#d8f0dc', '#0d4a1e'), 'changed': ('#d8f0dc', '#0d4a1e'), 'done': ('#d8f0dc', '#0d4a1e'),
    'none': ('#e6e9ee', '#2a3340'), 'ok': ('#e6e9ee', '#2a3340'), 'before': ('#e6e9ee', '#2a3340'),
    'removable': ('#dbe8fb', '#123f7c'),
    'interrupted': ('#fdeccb', '#6a3d00'), 'inconsistent': ('#fdeccb', '#6a3d00'), 'unreachable': ('#fdeccb', '#6a3d00'),
    'failed': ('#fbdcdc', '#861414'), 'unknown': ('#fbdcdc', '#861414'), 'no-instance': ('#fbdcdc', '#861414'),
}
STATES = ['removable', 'none', 'failed', 'interrupted', 'inconsistent', 'no-instance', 'removed', 'unknown']

STYLE = '''
:root { color-scheme: light; }
* { box-sizing: border-box; }
body { margin: 0; background: #f6f7f9; color: #1b2330; font: 16px/1.5 system-ui, "DejaVu Sans", sans-serif; }
header, main, footer { max-width: 72rem; margin: 0 auto; padding: 0 1.25rem; }
header { padding-top: 2rem; }
h1 { font-size: 1.9rem; line-height: 1.2; margin: 0 0 .3rem; }
h2 { font-size: 1.3rem; margin: 2.4rem 0 .8rem; }
p { margin: .4rem 0; }
a { color: #123f7c; }
nav ul { display: flex; flex-wrap: wrap; gap: .3rem 1.2rem; list-style: none; margin: 1rem 0 0; padding: 0; }
.verdict { display: inline-block; padding: .35rem .9rem; border-radius: .5rem; font-weight: 700; margin: .6rem 0; }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(10rem, 1fr)); gap: .8rem; margin: 1rem 0; padding: 0; }
.tile { background: #fff; border: 1px solid #d5dae2; border-radius: .6rem; padding: .7rem 1rem; margin: 0; }
.tile b { display: block; font-size: 1.7rem; line-height: 1.2; }
.bar { display: flex; height: 2.4rem; border-radius: .5rem; overflow: hidden; border: 1px solid #7b8696; margin: .3rem 0 .5rem; }
.bar span { display: flex; align-items: center; justify-content: center; min-width: 2rem; font-weight: 600;
  border-right: 1px solid #7b8696; white-space: nowrap; overflow: hidden; padding: 0 .3rem; }
.bar span:last-child { border-right: 0; }
.chip { display: inline-block; padding: .05rem .55rem; border-radius: .4rem; font-weight: 600; white-space: nowrap; }
.grid { display: flex; flex-wrap: wrap; gap: .35rem; list-style: none; padding: 0; margin: .5rem 0; }
.grid a { display: block; padding: .15rem .5rem; border: 1px solid #7b8696; border-radius: .4rem; font-size: .85rem;
  text-decoration: none; font-variant-numeric: tabular-nums; }
.scroll { overflow-x: auto; background: #fff; border: 1px solid #d5dae2; border-radius: .6rem; }
table { border-collapse: collapse; width: 100%; }
caption { text-align: left; padding: .7rem .9rem 0; color: #47525f; }
th, td { text-align: left; vertical-align: top; padding: .45rem .9rem; border-top: 1px solid #e3e7ed;
  overflow-wrap: break-word; }
td.long { overflow-wrap: anywhere; min-width: 18rem; }
td { min-width: 5rem; }
thead th { border-top: 0; }
details { background: #fff; border: 1px solid #d5dae2; border-radius: .6rem; margin: .4rem 0; padding: .45rem .9rem; }
summary { cursor: pointer; }
details ol { margin: .5rem 0 .3rem; padding-left: 1.4rem; }
li { margin: .2rem 0; overflow-wrap: anywhere; }
footer { color: #47525f; padding-bottom: 3rem; margin-top: 2rem; }
@media print { details > * { display: block; } body { background: #fff; } }
'''


def text(value):
    """A value from a machine: nothing in it is markup, and control characters are seen."""
    shown = ''.join(c if c.isprintable() else '\\x%02x' % ord(c) for c in str(value).replace('\n', ' '))
    return html.escape(shown, quote=True)


def colour(word):
    background, front = COLOURS.get(word.split(':')[0], COLOURS['unknown'])
    return f'background:{background};color:{front}'


def chip(word):
    return f'<span class="chip" style="{colour(word)}">{text(word)}</span>'


def count(machines, key):
    counts = {}
    for machine in machines:
        counts[machine[key]] = counts.get(machine[key], 0) + 1
    return [(state, counts[state]) for state in STATES if state in counts]


def bar(title, counts):
    # Words only where they have room; the line above the bar has them all.
    whole = sum(number for _, number in counts)
    parts = ''.join(f'<span style="flex:{number};{colour(state)}">{number}'
                    f'{" " + text(state) if number * 6 >= whole else ""}</span>' for state, number in counts)
    told = ', '.join(f'{number} {state}' for state, number in counts)
    return f'<p><b>{title}</b>: {text(told)}</p><div class="bar" role="img" aria-label="{title}: {text(told)}">{parts}</div>'


def long(cell):
    return ' class="long"' if isinstance(cell, str) and len(cell) > 60 and '<' not in cell else ''


def table(caption, heads, rows):
    head = ''.join(f'<th scope="col">{head}</th>' for head in heads)
    body = ''.join('<tr>' + f'<th scope="row">{row[0]}</th>'
                   + ''.join(f'<td{long(cell)}>{cell}</td>' for cell in row[1:]) + '</tr>'
                   for row in rows)
    return (f'<div class="scroll" tabindex="0" role="region" aria-label="{caption}"><table><caption>{caption}</caption>'
            f'<thead><tr>{head}</tr></thead><tbody>{body}</tbody></table></div>')


def seconds(value):
    return '' if value is None else f'{value:.1f} s'


def story(machine):
    steps = ''.join(f'<li><b>{text(step["step"])}</b>: {chip(step["outcome"])} {text(step["text"])}</li>'
                    for step in machine['story'])
    took = f', removal {seconds(machine["seconds"])}' if machine['seconds'] is not None else ''
    return (f'<details id="{text(machine["machine"])}"><summary><b>{text(machine["machine"])}</b> '
            f'{chip(machine["before"])} → {chip(machine["after"])} {text(machine["kind"])}{took}</summary>'
            f'<ol>{steps}</ol></details>')


def page(document):
    machines = document['machines']
    failed = [check for check in document['checks'] if not check['passed']]
    verdict = (f'All {len(document["checks"])} proofs passed' if not failed
               else f'{len(failed)} of {len(document["checks"])} proofs failed')
    removed = sum(machine['after'] == 'removed' for machine in machines)
    times = sorted(machine['seconds'] for machine in machines if machine['seconds'] is not None)
    tiles = [(len(machines), 'machines'), (removed, 'removals verified'),
             (sum(map(len, document['causes'].values())), 'stopped at first, each for a named cause'),
             (sum(machine['after'] not in ('none', 'removed') for machine in machines), 'left in an unknown state'),
             (seconds(times[len(times) // 2]) if times else 'none', 'a removal on the machine, median'),
             (f'{document["seconds"]:.0f} s', 'whole rehearsal')]
    causes = [(chip('failed: ' + cause if cause != 'unreachable' else cause), len(hits),
               text(hits[0]['reason']), text(hits[0]['wayOut']),
               ', '.join(f'<a href="#{text(hit["machine"])}">{text(hit["machine"])}</a>' for hit in hits))
              for cause, hits in sorted(document['causes'].items())]
    runs = [(text(run['run']), seconds(run['seconds']),
             ' '.join(f'{number} {chip(outcome)}' for outcome, number in sorted(run['outcomes'].items())),
             seconds(run['targetSeconds'] / len(machines)), seconds(run['controllerSeconds'] / len(machines)))
            for run in document['runs']]
    checks = [(text(check['check']), chip('ok') if check['passed'] else chip('failed'),
               '<br>'.join(text(line) for line in check['wrong'])) for check in document['checks']]
    naive = [(text(line['run']), chip(line['says'])) for line in document['naive']]
    grid = ''.join(f'<li><a href="#{text(machine["machine"])}" style="{colour(machine["before"])}">'
                   f'{text(machine["machine"])} {text(machine["before"])}</a></li>' for machine in machines)
    sections = [
        ('estate', 'The estate', bar('Before', count(machines, 'before')) + bar('After', count(machines, 'after'))
         + f'<p>Each machine as it was before; a link leads to its story.</p><ul class="grid">{grid}</ul>'),
        ('causes', 'Why some stopped at first', table(
            'Causes that the first run named', ['Cause', 'Machines', 'What it said, for the first', 'Way out', 'Which'],
            causes)),
        ('runs', 'The runs', table('Runs of the engine, in order', [
            'Run', 'Time', 'Outcomes', 'Processor a machine', 'Processor of the controller a machine'], runs)),
        ('proofs', 'What was proved', table('Proofs', ['Proof', 'Outcome', 'What contradicts it'], checks)),
    ]
    if naive:
        sections.append(('naive', 'Why not a shell task', '<p>A task with <code>removes:</code> on the manifest, on a '
                         'machine whose platform fails. The manifest is consumed first, so the second run finds nothing '
                         'to do.</p>' + table('A failed removal, and what is said of it', ['Who', 'Says'], naive)))
    sections.append(('machines', 'The machines', ''.join(map(story, machines))))
    if document['killed']:
        sections.append(('killed', 'The engine killed in the middle', '<p>Machines of their own. The engine was killed '
                         'with all its processes while removals ran, one machine lost its power, and the engine was run '
                         'again.</p>' + ''.join(map(story, document['killed']))))
    links = ''.join(f'<li><a href="#{name}">{title}</a></li>' for name, title, _ in sections)
    body = ''.join(f'<section id="{name}"><h2>{title}</h2>{content}</section>' for name, title, content in sections)
    boxes = ''.join(f'<p class="tile"><b>{text(number)}</b>{text(what)}</p>' for number, what in tiles)
    return f'''<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>Rehearsal of a removal on {len(machines)} machines: {text(verdict)}</title>
<style>{STYLE}</style>
</head>
<body>
<header>
<h1>Rehearsal of a removal on {len(machines)} machines</h1>
<p><time datetime="{text(document['time'])}">{text(document['time'].replace('T', ' ').replace('Z', ' UTC'))}</time>, \
{document['forks']} machines at a time</p>
<p class="verdict" style="{colour('failed' if failed else 'removed')}">{text(verdict)}</p>
<nav aria-label="Sections"><ul>{links}</ul></nav>
</header>
<main>
<div class="tiles">{boxes}</div>
{body}
</main>
<footer><p>Made by scripts/fleet-rehearsal. The same as data: fleet-rehearsal.json.</p></footer>
</body>
</html>
'''

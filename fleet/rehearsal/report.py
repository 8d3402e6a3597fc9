"""The report of a rehearsal as one page without scripts and other files. Equal documents give equal bytes."""

import html

# The meaning of a colour. Each coloured element also shows the word, or a sign that the legend explains.
TONES = {'removed': 'good', 'changed': 'good', 'done': 'good', 'passed': 'good',
         'none': 'calm', 'ok': 'calm', 'before': 'calm', 'removable': 'todo',
         'interrupted': 'warn', 'inconsistent': 'warn', 'unreachable': 'warn'}
SIGNS = {'removable': '●', 'none': '–', 'removed': '✓', 'failed': '✕', 'interrupted': '◐', 'inconsistent': '≠',
         'no-instance': '∅', 'changed': '✓', 'ok': '–', 'unreachable': '○'}
STATES = ['removable', 'none', 'failed', 'interrupted', 'inconsistent', 'no-instance', 'removed', 'unknown']

STYLE = '''
:root { color-scheme: light dark; --page: #f3f5f8; --card: #fff; --text: #1a2230; --soft: #4a5564; --line: #d3d9e2;
  --link: #0f4a9c;
  --good: #d3efd9; --good-text: #0b4a1c; --good-full: #2c8a46; --calm: #e4e8ee; --calm-text: #2a3340; --calm-full: #76839a;
  --todo: #d6e5fb; --todo-text: #103d79; --todo-full: #3a7ad4; --warn: #fde6bd; --warn-text: #663b00; --warn-full: #b9770b;
  --bad: #fad6d6; --bad-text: #7d1010; --bad-full: #c63737; }
@media (prefers-color-scheme: dark) { :root { --page: #11151b; --card: #1a202a; --text: #e7ebf1; --soft: #aab5c3;
  --line: #364050; --link: #9cc4ff;
  --good: #163c23; --good-text: #abecbd; --good-full: #4cb36a; --calm: #2a323e; --calm-text: #d0d8e3; --calm-full: #8492a6;
  --todo: #16325b; --todo-text: #b6d3ff; --todo-full: #5b99ec; --warn: #483206; --warn-text: #ffd995; --warn-full: #dfa03a;
  --bad: #541c1c; --bad-text: #ffc4c4; --bad-full: #e56c6c; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--text); font: 16px/1.5 system-ui, "DejaVu Sans", sans-serif; }
header, main, footer { max-width: 72rem; margin: 0 auto; padding: 0 1.25rem; }
header { padding-top: 2rem; }
h1 { font-size: 2rem; line-height: 1.2; margin: 0; }
h2 { font-size: 1.35rem; line-height: 1.3; margin: 3rem 0 .6rem; }
h3 { font-size: 1.05rem; line-height: 1.35; margin: 0; }
p { margin: .4rem 0; }
a { color: var(--link); }
.soft { color: var(--soft); }
.card { background: var(--card); border: 1px solid var(--line); border-radius: .8rem; padding: 1rem 1.2rem; }
.good { background: var(--good); color: var(--good-text); --full: var(--good-full); }
.calm { background: var(--calm); color: var(--calm-text); --full: var(--calm-full); }
.todo { background: var(--todo); color: var(--todo-text); --full: var(--todo-full); }
.warn { background: var(--warn); color: var(--warn-text); --full: var(--warn-full); }
.bad { background: var(--bad); color: var(--bad-text); --full: var(--bad-full); }
.chip { display: inline-block; padding: 0 .55rem; border-radius: .4rem; font-weight: 600; }
.verdict { display: inline-block; padding: .3rem .9rem; border-radius: .5rem; font-weight: 700; font-size: 1.1rem;
  margin: .9rem 0 .2rem; }
.lead { font-size: 1.15rem; max-width: 46rem; }
nav ul { display: flex; flex-wrap: wrap; gap: .3rem 1.2rem; list-style: none; margin: .9rem 0 0; padding: 0; }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(9.5rem, 1fr)); gap: .7rem; margin: 1.3rem 0 0; }
.tiles p { margin: 0; line-height: 1.35; padding: .7rem 1rem; }
.tiles b { display: block; font-size: 1.8rem; line-height: 1.25; font-variant-numeric: tabular-nums; }
.flow { display: none; }
.flow svg { display: block; width: 100%; height: auto; }
.flow text { fill: var(--text); font-size: 15px; paint-order: stroke; stroke: var(--card); stroke-width: 5px;
  stroke-linejoin: round; }
.flow .head { fill: var(--soft); font-weight: 700; }
.flow rect, .flow path { fill: var(--full); }
.flow path { fill-opacity: .33; }
.walls { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 20rem), 1fr)); gap: .8rem; margin-top: .8rem; }
.wall { display: flex; flex-wrap: wrap; gap: 4px; list-style: none; padding: 0; margin: .7rem 0; }
.wall > * > * { display: flex; align-items: center; justify-content: center; width: 30px; height: 30px; border-radius: 5px;
  border: 1px solid var(--full); font-weight: 700; text-decoration: none; }
.wall > * > .good, .wall > * > .calm, .wall > * > .todo, .wall > * > .warn, .wall > * > .bad { line-height: 1; }
.legend { display: flex; flex-wrap: wrap; gap: .35rem .5rem; list-style: none; padding: 0; margin: .5rem 0 0; }
.causes { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 21rem), 1fr)); gap: .8rem; }
.cause { border-top: 5px solid var(--edge); }
.cause h3 { display: flex; justify-content: space-between; gap: .6rem; align-items: baseline; }
.cause h3 b { font-size: 1.5rem; line-height: 1; }
.cause p, .cause q, li, .wrong { overflow-wrap: anywhere; }
.cause q { quotes: none; display: block; border-left: 3px solid var(--line); padding-left: .7rem; margin: .5rem 0;
  color: var(--soft); }
.names { line-height: 1.9; }
.runs { list-style: none; margin: 0; padding: 0; }
.runs li { padding: .8rem 0; border-top: 1px solid var(--line); }
.runs li:first-child { border-top: 0; padding-top: 0; }
.runs li:last-child { padding-bottom: 0; }
.time { display: grid; grid-template-columns: 9rem 1fr; align-items: center; gap: .2rem 1rem; }
.track { display: flex; align-items: center; gap: .6rem; font-weight: 700; font-variant-numeric: tabular-nums; white-space: nowrap; }
.track i { display: block; height: 1.3rem; border-radius: .3rem; background: var(--todo-full); min-width: 2px; }
.more { margin: .35rem 0 0 10rem; }
.columns { display: flex; align-items: flex-end; gap: 2px; height: 8rem; margin: .8rem 0 .2rem; border-bottom: 2px solid var(--soft); }
.columns i { flex: 1 1 0; max-width: 2.5rem; min-width: 1px; background: var(--good-full); border-radius: 3px 3px 0 0; }
.proofs { list-style: none; margin: 0; padding: 0; }
.proofs li { padding: .45rem 0 .45rem 2.3rem; position: relative; border-top: 1px solid var(--line); }
.proofs li:first-child { border-top: 0; }
.proofs .chip { position: absolute; left: 0; width: 1.6rem; padding: 0; text-align: center; }
.proofs .word { position: static; width: auto; padding: 0 .55rem; }
.wrong { margin: .2rem 0 0; padding-left: 1.2rem; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; }
caption { text-align: left; color: var(--soft); padding-bottom: .3rem; }
th, td { text-align: left; vertical-align: top; padding: .4rem .8rem .4rem 0; border-top: 1px solid var(--line); }
thead th { border-top: 0; }
.kind { margin: 1.5rem 0 .5rem; display: flex; flex-wrap: wrap; gap: .2rem .8rem; align-items: baseline; }
details { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; margin: .35rem 0; padding: .4rem .9rem; }
summary { cursor: pointer; }
summary span { margin-left: .5rem; }
:target { scroll-margin-top: 4rem; outline: 3px solid var(--link); outline-offset: .3rem; border-radius: .3rem; }
.story { margin: .7rem 0 .5rem .4rem; padding: 0; list-style: none; border-left: 3px solid var(--line); }
.story li { display: grid; grid-template-columns: 7rem 1fr; gap: .1rem 1rem; padding: .3rem 0 .3rem 1rem; }
footer { color: var(--soft); padding-bottom: 3rem; margin-top: 2.5rem; }
@media (min-width: 52rem) { .flow { display: block; } }
@media (max-width: 40rem) { h1 { font-size: 1.6rem; } .time, .story li { grid-template-columns: 1fr; } .more { margin-left: 0; } }
@media print { body { background: #fff; } details::details-content { content-visibility: visible; display: block; } }
'''


def text(value):
    """A value from a machine, escaped, with visible control characters."""
    shown = ''.join(c if c.isprintable() else '\\x%02x' % ord(c) for c in str(value).replace('\n', ' '))
    return html.escape(shown, quote=True)


def tone(word):
    return TONES.get(word.split(':')[0], 'bad')


def chip(word, shown=None):
    return f'<span class="chip {tone(word)}">{text(shown or word)}</span>'


def sign(word):
    return SIGNS.get(word.split(':')[0], '✕')


def seconds(value):
    return '' if value is None else f'{value:.1f} s' if value < 100 else f'{value:.0f} s'


def several(number, one, more=None):
    return f'{number} {one if number == 1 else more or one + "s"}'


def counted(words, order=()):
    counts = {}
    for word in words:
        counts[word] = counts.get(word, 0) + 1
    return sorted(counts.items(), key=lambda item: (order.index(item[0]) if item[0] in order else len(order), item[0]))


def outcome(machine, step):
    return next((entry['outcome'] for entry in machine['story'] if entry['step'] == step), 'unknown')


# ----- The estate -----

def flow(machines):
    """A drawing of the numbers of machines: the state before, the outcome of the first run, the state at the end."""
    roads = [(machine['before'], outcome(machine, 'first run'), machine['after']) for machine in machines]
    heads = ('Before', 'First run', 'At the end')
    lefts, unit, width = (190, 480, 800), 240 / len(machines), 14
    # Each column is sorted by the places in the previous column, so that few paths cross.
    orders = [STATES]
    for at in (1, 2):
        places = {}
        for road in roads:
            places.setdefault(road[at], []).append(orders[-1].index(road[at - 1]))
        orders.append(sorted(places, key=lambda word: (sum(places[word]) / len(places[word]), -len(places[word]), word)))
    columns, height = [], 0
    for at in range(3):
        nodes, top = {}, 40.0
        for word, number in counted((road[at] for road in roads), orders[at]):
            nodes[word] = {'top': top, 'height': max(number * unit, 3), 'number': number, 'in': 0.0, 'out': 0.0}
            top += max(number * unit + 10, 24)
        columns.append(nodes)
        height = max(height, top)
    parts = []
    for at in (0, 1):
        pairs = counted(road[at:at + 2] for road in roads)
        order = [list(columns[at]), list(columns[at + 1])]
        for (start, end), number in sorted(pairs, key=lambda pair: tuple(map(list.index, order, pair[0]))):
            a, b = columns[at][start], columns[at + 1][end]
            x, to, middle = lefts[at] + width, lefts[at + 1], (lefts[at] + width + lefts[at + 1]) / 2
            thick = max(number * unit, 3)
            y, z = a['top'] + a['out'], b['top'] + b['in']
            a['out'] += number * unit
            b['in'] += number * unit
            parts.append(f'<path class="{tone(start if at == 0 else end)}" '
                         f'd="M{x} {y:.1f}C{middle} {y:.1f} {middle} {z:.1f} {to} {z:.1f}'
                         f'V{z + thick:.1f}C{middle} {z + thick:.1f} {middle} {y + thick:.1f} {x} {y + thick:.1f}Z"/>')
    for at, nodes in enumerate(columns):
        x, anchor = (lefts[at] - 8, 'end') if at == 0 else (lefts[at] + width + 8, 'start')
        parts.append(f'<text class="head" x="{x}" y="18" text-anchor="{anchor}">{heads[at]}</text>')
        for word, node in nodes.items():
            top, tall = node['top'], node['height']
            parts.append(f'<rect class="{tone(word)}" x="{lefts[at]}" y="{top:.1f}" width="{width}" height="{tall:.1f}" rx="2"/>')
            parts.append(f'<text x="{x}" y="{top + max(tall, 10) / 2 + 5:.1f}" text-anchor="{anchor}">'
                         f'{node["number"]} {text(word.replace("failed: ", ""))}</text>')
    told = '; '.join(f'{number} {road[0]}, first run {road[1]}, then {road[2]}' for road, number in counted(roads))
    return (f'<div class="card flow"><svg viewBox="0 0 1000 {height:.0f}" role="img" aria-label="{text(told)}">'
            f'{"".join(parts)}</svg></div>')


def wall(title, machines, word_of):
    """A tile for each machine. A machine has the same place in each wall."""
    tiles = ''.join(f'<li><a href="#{text(machine["machine"])}" class="{tone(word_of(machine))}" '
                    f'title="{text(machine["machine"])}: {text(word_of(machine))}" '
                    f'aria-label="{text(machine["machine"])}: {text(word_of(machine))}">{sign(word_of(machine))}</a></li>'
                    for machine in machines)
    legend = ''.join(f'<li>{chip(word, f"{sign(word)} {number} {word}")}</li>'
                     for word, number in counted(map(word_of, machines), ['changed', 'ok', *STATES]))
    return f'<div class="card"><h3>{title}</h3><ul class="wall">{tiles}</ul><ul class="legend">{legend}</ul></div>'


def estate(document):
    machines = document['machines']
    return (flow(machines) + '<div class="walls">'
            + wall('Before', machines, lambda machine: machine['before'])
            + wall('After the first run', machines, lambda machine: outcome(machine, 'first run'))
            + wall('At the end', machines, lambda machine: machine['after'])
            + '</div><p class="soft">Each tile is a machine, in the same place in each group, and links to its story.</p>')


# ----- What happened -----

def names(machines):
    return ', '.join(f'<a href="#{text(name)}">{text(name)}</a>' for name in machines)


def causes(document):
    cards = []
    for cause, hits in sorted(document['causes'].items(), key=lambda item: (-len(item[1]), item[0])):
        kinds = counted(hit['kind'] for hit in hits)
        word = cause if cause == 'unreachable' else 'failed: ' + cause
        cards.append(f'<div class="card cause" style="--edge: var(--{tone(word)}-full)"><h3><span>{chip(word)}</span>'
                     f'<b title="machines">{len(hits)}</b></h3>'
                     f'<p>{text("; ".join(kind for kind, _ in kinds).capitalize())}</p>'
                     f'<q>{text(hits[0]["reason"])}</q><p><b>Remedy:</b> {text(hits[0]["remedy"])}</p>'
                     f'<p class="names">{names(hit["machine"] for hit in hits)}</p></div>')
    return f'<div class="causes">{"".join(cards)}</div>'


def times(document):
    longest = max(run['seconds'] for run in document['runs'])
    machines = len(document['machines'])
    rows = ''.join(
        f'<li><div class="time"><b>{text(run["run"]).capitalize()}</b><span class="track">'
        f'<i style="width: {70 * run["seconds"] / longest:.1f}%"></i>{seconds(run["seconds"])}</span></div>'
        '<div class="more">' + ' '.join(chip(word, f'{number} {word}') for word, number in counted(
            (word for word, number in run['outcomes'].items() for _ in range(number)), ['changed', 'ok']))
        + f'<p class="soft">Processor time per machine: {run["targetSeconds"] / machines:.2f} s on the machine, '
        f'{run["controllerSeconds"] / machines:.2f} s on the controller</p></div></li>' for run in document['runs'])
    taken = sorted(machine['seconds'] for machine in document['machines'] if machine['seconds'] is not None)
    chart = ''
    if taken:
        bars = ''.join(f'<i style="height: {100 * value / taken[-1]:.1f}%"></i>' for value in taken)
        told = (f'{several(len(taken), "removal")}, from {seconds(taken[0])} to {seconds(taken[-1])}, '
                f'half of them within {seconds(taken[len(taken) // 2])}')
        chart = (f'<div class="card" style="margin-top: .8rem"><h3>Each removal on its machine</h3>'
                 f'<div class="columns" role="img" aria-label="{told}">{bars}</div><p class="soft">{told}.</p></div>')
    return f'<div class="card"><ol class="runs">{rows}</ol></div>{chart}'


def proofs(document):
    rows = ''
    for check in document['checks']:
        wrong = ''.join(f'<li>{text(line)}</li>' for line in check['wrong'])
        word = 'passed' if check['passed'] else 'failed'
        rows += (f'<li><span class="chip {tone(word)}" aria-hidden="true">{"✓" if check["passed"] else "✕"}</span>'
                 f'{text(check["check"][:1].upper() + check["check"][1:])} '
                 + (f'<span class="chip word bad">failed</span><ul class="wrong">{wrong}</ul>' if wrong else '') + '</li>')
    return f'<div class="card"><ul class="proofs">{rows}</ul></div>'


def naive(document):
    rows = ''.join(f'<tr><th scope="row">{text(line["run"])}</th><td>{chip(line["says"])}</td></tr>'
                   for line in document['naive'])
    return ('<p>A task with <code>removes:</code> on the manifest, on a machine whose platform fails. The manifest is consumed '
            'first, so its second run finds nothing to do, and reports success.</p><div class="card scroll" tabindex="0" '
            'role="region" aria-label="A failed removal, and the reports of it"><table><caption>A failed removal, and the '
            f'reports of it</caption><thead><tr><th scope="col">Run</th><th scope="col">Report</th></tr></thead><tbody>{rows}</tbody>'
            '</table></div>')


def story(machine):
    # The id is inside the folded part, so a browser opens the part for a link.
    steps = ''
    for step in machine['story']:
        took = f' <span class="soft">{seconds(step["seconds"])}</span>' if step.get('seconds') is not None else ''
        steps += f'<li><b>{text(step["step"])}</b><span>{chip(step["outcome"])}{took} {text(step["text"])}</span></li>'
    took = f'<span class="soft">removal {seconds(machine["seconds"])}</span>' if machine['seconds'] is not None else ''
    return (f'<details><summary><b>{text(machine["machine"])}</b><span>{chip(machine["before"])} → {chip(machine["after"])}'
            f'</span>{took}</summary><ol class="story" id="{text(machine["machine"])}">{steps}</ol></details>')


def stories(machines):
    result = ''
    for kind in dict.fromkeys(machine['kind'] for machine in machines):
        same = [machine for machine in machines if machine['kind'] == kind]
        result += (f'<div class="kind"><h3>{text(kind[:1].upper() + kind[1:])}</h3>'
                   f'<span class="soft">{several(len(same), "machine")}</span></div>' + ''.join(map(story, same)))
    return result


def page(document):
    machines = document['machines']
    failed = [check for check in document['checks'] if not check['passed']]
    verdict = (f'All {len(document["checks"])} checks passed' if not failed
               else f'{len(failed)} of {len(document["checks"])} checks failed')
    removed = sum(machine['after'] == 'removed' for machine in machines)
    at_once = sum(outcome(machine, 'first run') == 'changed' for machine in machines)
    stopped = sum(map(len, document['causes'].values()))
    unknown = sum(machine['after'] not in ('none', 'removed') for machine in machines)
    taken = sorted(machine['seconds'] for machine in machines if machine['seconds'] is not None)
    lead = (f'The first run removed the hotfix from {at_once} of {several(len(machines), "machine")}, and stopped at {stopped}, '
            f'each with a named cause. After the remedies it is removed from {removed}, and '
            + ('no machine is' if not unknown else several(unknown, 'machine is', 'machines are')) + ' in an unknown state.')
    tiles = [(len(machines), 'machines'), (removed, 'removals, verified'), (stopped, 'stopped at first'),
             (unknown, 'in an unknown state'), (seconds(taken[len(taken) // 2]) if taken else '–', 'a removal, median'),
             (seconds(document['seconds']), 'the whole rehearsal')]
    sections = [('estate', 'The estate, before and after', estate(document))]
    if document['causes']:
        sections.append(('causes', 'Why some stopped at first', causes(document)))
    sections += [('times', 'How long it took', times(document)), ('proofs', 'Checks', proofs(document))]
    if document['naive']:
        sections.append(('naive', 'Why not a shell task', naive(document)))
    sections.append(('machines', 'The story of each machine', stories(machines)))
    if document['killed']:
        sections.append(('killed', 'The engine killed in the middle', '<p>These are additional machines. The engine was killed '
                         'with all its processes while removals ran, one machine lost its power, and the engine was run '
                         'again.</p>' + stories(document['killed'])))
    links = ''.join(f'<li><a href="#{name}">{title}</a></li>' for name, title, _ in sections)
    body = ''.join(f'<section id="{name}"><h2>{title}</h2>{content}</section>' for name, title, content in sections)
    boxes = ''.join(f'<p class="card"><b>{text(number)}</b>{text(what)}</p>' for number, what in tiles)
    return f'''<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>Rehearsal of a removal on {several(len(machines), "machine")}: {text(verdict)}</title>
<style>{STYLE}</style>
</head>
<body>
<header>
<h1>Rehearsal of a removal on {several(len(machines), "machine")}</h1>
<p class="soft"><time datetime="{text(document['time'])}">{text(document['time'].replace('T', ' ').replace('Z', ' UTC'))}</time>, \
{several(document['forks'], 'machine')} at a time</p>
<p class="verdict {'bad' if failed else 'good'}">{'✕' if failed else '✓'} {text(verdict)}</p>
<p class="lead">{text(lead)}</p>
<nav aria-label="Sections"><ul>{links}</ul></nav>
</header>
<main>
<div class="tiles">{boxes}</div>
{body}
</main>
<footer><p>Made by scripts/fleet-rehearsal. fleet-rehearsal.json has the same data.</p></footer>
</body>
</html>
'''

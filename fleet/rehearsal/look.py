"""Checks a report in a browser: look.py JSON HTML [PICTURES]

The page must load without scripts, network and messages, fit its window, and be readable in light and dark. Its links must
have targets. The same applies to a report with hostile texts from machines. PICTURES is a folder for screenshots.
"""

import copy
import json
import os
import pathlib
import sys
import tempfile

import report
from browser import Browser

# Width, height, dark: a desktop, a phone, and the narrowest window that a page must fit.
WINDOWS = {'desk-light': (1280, 900, False), 'desk-dark': (1280, 900, True), 'phone-light': (390, 844, False),
           'phone-dark': (390, 844, True), 'narrow': (320, 640, False)}
HOSTILE = '</q></style><script>document.title = "taken over"</script><img src="http://198.51.100.1/x" onerror=x>"\'&\x07\u202e'

# Visible text with too little contrast to its background.
FAINT = '''(() => {
  const numbers = color => color.match(/[0-9.]+/g).map(Number);
  const light = color => {
    const [r, g, b] = numbers(color).slice(0, 3).map(v => (v /= 255) <= .04045 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4);
    return .2126 * r + .7152 * g + .0722 * b;
  };
  const behind = element => {
    for (; element; element = element.parentElement) {
      const color = getComputedStyle(element).backgroundColor;
      if (!/, 0\\)$/.test(color)) return color;
    }
    return 'rgb(255, 255, 255)';
  };
  const faint = [];
  for (const element of document.querySelectorAll('body *')) {
    if (![...element.childNodes].some(node => node.nodeType == 3 && node.data.trim())) continue;
    const style = getComputedStyle(element);
    const [a, b] = [light(element.tagName == 'text' ? style.fill : style.color), light(behind(element))];
    const contrast = (Math.max(a, b) + .05) / (Math.min(a, b) + .05);
    if (contrast < 4.5) faint.push(contrast.toFixed(1) + ': ' + element.textContent.slice(0, 40));
  }
  return faint;
})()'''
# Elements that are wider than the window, outside boxes that scroll.
WIDE = '''[...document.querySelectorAll('body *')].filter(element => !element.closest('.scroll, svg')
  && element.getBoundingClientRect().right > innerWidth + 1).map(element => element.textContent.slice(0, 40))'''
# Requirements of readers with a screen reader or without a mouse.
STRUCTURE = '''(() => {
  const wrong = [];
  const levels = [...document.querySelectorAll('h1, h2, h3, h4')].map(heading => +heading.tagName[1]);
  if (levels.filter(level => level == 1).length != 1) wrong.push('not one h1');
  levels.forEach((level, at) => { if (level > (levels[at - 1] || 0) + 1) wrong.push('a heading is skipped'); });
  if (!document.documentElement.lang || !document.title) wrong.push('no language or no title');
  for (const name of ['header', 'main', 'footer', 'nav']) if (!document.querySelector(name)) wrong.push('no ' + name);
  for (const table of document.querySelectorAll('table')) if (!table.caption) wrong.push('a table without a caption');
  for (const drawing of document.querySelectorAll('svg, [role=img]'))
    if (!drawing.getAttribute('aria-label')) wrong.push('a drawing without words');
  for (const link of document.querySelectorAll('a'))
    if (!link.getAttribute('href').startsWith('#') || !document.getElementById(link.getAttribute('href').slice(1)))
      wrong.push('a link leads nowhere: ' + link.getAttribute('href'));
  for (const element of document.querySelectorAll('script, link, img, iframe, object, embed, form, base, [onerror], [src]'))
    wrong.push('there is a ' + element.tagName);
  const ids = [...document.querySelectorAll('[id]')].map(element => element.id);
  if (new Set(ids).size != ids.length) wrong.push('an id twice');
  return wrong;
})()'''


def look_at(browser, file, title, pictures=None):
    wrong = []
    for name, (width, height, is_dark) in WINDOWS.items():
        browser.load(file, width, height, is_dark)
        if len(browser.requests()) != 1:
            wrong.append(f'{name}: it loads other files: {browser.requests()[1:4]}')
        wrong += [f'{name}: the console shows: {line}' for line in browser.complaints()[:5]]
        wrong += [f'{name}: too little contrast, {line}' for line in browser.ask(FAINT)[:5]]
        wrong += [f'{name}: wider than the window: {line}' for line in browser.ask(WIDE)[:5]]
        if browser.ask('document.documentElement.scrollWidth > innerWidth'):
            wrong.append(f'{name}: the page scrolls sideways')
        if pictures:
            browser.picture(pictures / f'{name}.png', whole=True)
    wrong += browser.ask(STRUCTURE)
    if browser.ask('document.title') != title:
        wrong.append(f'the title is {browser.ask("document.title")}')
    # A link to a machine opens its story.
    browser.load(file, 1280, 900, fragment='#' + browser.ask('document.querySelector(".story").id'))
    if not browser.ask('document.querySelector("details").open'):
        wrong.append('a link to a machine does not open its story')
    return wrong


def hostile(document):
    """The same rehearsal with hostile texts from the machines and the engine."""
    document = copy.deepcopy(document)
    for machine in document['machines'] + document['killed']:
        for step in machine['story']:
            step['text'] = HOSTILE + 'x' * 400
        machine['after'] = HOSTILE
    for hits in document['causes'].values():
        for hit in hits:
            hit['reason'] = HOSTILE
    document['checks'][0].update(passed=False, wrong=[HOSTILE])
    return document


def title_of(document):
    failed = sum(not check['passed'] for check in document['checks'])
    checks = len(document['checks'])
    verdict = f'{failed} of {checks} checks failed' if failed else f'All {checks} checks passed'
    machines = len(document['machines'])
    return f'Rehearsal of a removal on {machines} machine{"s" if machines != 1 else ""}: {verdict}'


def look(document, file, pictures=None):
    """The faults of the page, as a list."""
    if pictures:
        os.makedirs(pictures, exist_ok=True)
        pictures = pathlib.Path(pictures)
    browser = Browser()
    try:
        wrong = look_at(browser, file, title_of(document), pictures)
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder, 'hostile.html')
            page.write_text(report.page(hostile(document)), encoding='utf-8')
            wrong += ['with hostile texts: ' + line for line in look_at(browser, page, title_of(hostile(document)))]
    finally:
        browser.close()
    return wrong


def main():
    document = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding='utf-8'))
    wrong = look(document, sys.argv[2], sys.argv[3] if len(sys.argv) > 3 else None)
    for line in wrong:
        print(line)
    sys.exit(1 if wrong else 0)


if __name__ == '__main__':
    main()

"""A browser without a window and without a network, controlled through its debugging pipe.

Uses Debian's chromium-headless-shell. The scripts of pages are disabled. The rehearsal can still evaluate expressions.
"""

import base64
import json
import os
import pathlib
import subprocess
import tempfile

PROGRAM = '/usr/lib/chromium/chromium-headless-shell'
LONGEST_LIFE = 300  # seconds


class Browser:
    def __init__(self):
        self._folder = tempfile.TemporaryDirectory()
        self.events = []
        self._number = 0
        self._rest = b''
        orders_end, self._orders = os.pipe()
        self._answers, answers_end = os.pipe()

        def as_expected():
            # The browser takes orders at descriptor 3 and answers at 4.
            high = [os.dup(orders_end), os.dup(answers_end)]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)

        # No sandbox: it needs separate namespaces, or a user other than root. The page is our own.
        self._process = subprocess.Popen(
            ['timeout', '--kill-after=5', str(LONGEST_LIFE), 'unshare', '--net', '--', PROGRAM, '--remote-debugging-pipe',
             '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--hide-scrollbars',
             f'--user-data-dir={self._folder.name}', 'about:blank'],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, close_fds=False,
            preexec_fn=as_expected, env={'PATH': '/usr/bin:/bin:/usr/sbin:/sbin', 'HOME': self._folder.name,
                                         'LC_ALL': 'C.UTF-8'})
        os.close(orders_end)
        os.close(answers_end)
        self._session = None
        page = next(target for target in self.tell('Target.getTargets')['targetInfos'] if target['type'] == 'page')
        self._session = self.tell('Target.attachToTarget', targetId=page['targetId'], flatten=True)['sessionId']
        for domain in ('Page', 'Runtime', 'Log', 'Network', 'DOM'):
            self.tell(domain + '.enable')
        self.tell('Emulation.setScriptExecutionDisabled', value=True)

    def close(self):
        try:
            self._session = None
            self.tell('Browser.close')
        except (OSError, RuntimeError):
            pass
        os.close(self._orders)
        self._process.wait()
        os.close(self._answers)
        self._folder.cleanup()

    def _message(self):
        while b'\0' not in self._rest:
            block = os.read(self._answers, 1 << 20)
            if not block:
                raise RuntimeError('the browser has ended')
            self._rest += block
        message, self._rest = self._rest.split(b'\0', 1)
        return json.loads(message)

    def tell(self, method, **parameters):
        self._number += 1
        order = {'id': self._number, 'method': method, 'params': parameters}
        if self._session:
            order['sessionId'] = self._session
        os.write(self._orders, json.dumps(order).encode() + b'\0')
        while True:
            message = self._message()
            if message.get('id') == self._number:
                if 'error' in message:
                    raise RuntimeError(f'{method}: {message["error"]["message"]}')
                return message['result']
            if 'method' in message:
                self.events.append(message)

    def _wait_for(self, method):
        while not any(event['method'] == method for event in self.events):
            self.events.append(self._message())

    def load(self, file, width, height, is_dark=False, fragment=''):
        self.events.clear()
        self.tell('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.tell('Emulation.setEmulatedMedia',
                  features=[{'name': 'prefers-color-scheme', 'value': 'dark' if is_dark else 'light'}])
        self.tell('Page.navigate', url='about:blank')
        self._wait_for('Page.loadEventFired')
        self.events.clear()
        self.tell('Page.navigate', url=pathlib.Path(file).resolve().as_uri() + fragment)
        self._wait_for('Page.loadEventFired')

    def ask(self, expression):
        """The value of an expression about the page."""
        answer = self.tell('Runtime.evaluate', expression=expression, returnByValue=True)
        if 'exceptionDetails' in answer:
            raise RuntimeError(str(answer['exceptionDetails']))
        return answer['result'].get('value')

    def picture(self, file, whole=False):
        shot = self.tell('Page.captureScreenshot', format='png', captureBeyondViewport=whole)
        pathlib.Path(file).write_bytes(base64.b64decode(shot['data']))

    def requests(self):
        return [event['params']['request']['url'] for event in self.events
                if event['method'] == 'Network.requestWillBeSent']

    def complaints(self):
        """The lines of the console: messages, errors, and what the page's own policy refused."""
        found = []
        for event in self.events:
            if event['method'] == 'Log.entryAdded':
                found.append(event['params']['entry']['text'])
            elif event['method'] in ('Runtime.consoleAPICalled', 'Runtime.exceptionThrown'):
                found.append(json.dumps(event['params'])[:300])
        return found

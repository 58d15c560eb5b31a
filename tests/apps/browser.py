"""A headless Chromium, asked through a pair of pipes by its own protocol: JSON messages that end with a NUL."""

import base64
import json
import os
import pathlib
import select
import shutil
import subprocess
import tempfile

PATIENCE = 120  # seconds for one answer; only a browser that hangs takes as long


class Browser:
    """One page in a window of a size."""

    def __init__(self, width=1200, height=900):
        program = shutil.which('chromium')
        if not program:
            raise AssertionError('chromium is missing: the page cannot be tested without it')
        self.profile = tempfile.mkdtemp(prefix='tarvex-chromium-')
        to_browser, self.commands = os.pipe()
        self.answers, from_browser = os.pipe()
        # It listens on descriptor 3 and answers on descriptor 4.
        self.process = subprocess.Popen(
            ['sh', '-c', f'exec "$0" "$@" 3<&{to_browser} 4>&{from_browser}', program, '--headless=new', '--no-sandbox',
             '--disable-gpu', '--disable-dev-shm-usage', '--remote-debugging-pipe', '--no-first-run', '--hide-scrollbars',
             '--disable-background-networking', f'--user-data-dir={self.profile}', f'--window-size={width},{height}',
             'about:blank'],
            pass_fds=(to_browser, from_browser), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self.buffer, self.number, self.session = b'', 0, None
        self.events = []
        target, = (t for t in self.ask('Target.getTargets')['targetInfos'] if t['type'] == 'page')
        self.session = self.ask('Target.attachToTarget', targetId=target['targetId'], flatten=True)['sessionId']
        for domain in ('Page', 'Runtime', 'Log', 'Network'):
            self.ask(domain + '.enable')
        self.ask('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=1, mobile=False)

    def close(self):
        os.close(self.commands)  # at which it ends
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self.answers)
        shutil.rmtree(self.profile, ignore_errors=True)

    def next_message(self):
        while b'\0' not in self.buffer:
            if not select.select([self.answers], [], [], PATIENCE)[0]:
                raise AssertionError('the browser does not answer')
            data = os.read(self.answers, 1 << 20)
            if not data:
                raise AssertionError('the browser has ended')
            self.buffer += data
        message, self.buffer = self.buffer.split(b'\0', 1)
        return json.loads(message)

    def ask(self, method, **params):
        self.number += 1
        message = {'id': self.number, 'method': method, 'params': params}
        if self.session:
            message['sessionId'] = self.session
        data = json.dumps(message).encode() + b'\0'
        while data:
            data = data[os.write(self.commands, data):]
        while True:
            answer = self.next_message()
            if answer.get('id') == self.number:
                if 'error' in answer:
                    raise AssertionError(f'{method}: {answer["error"]}')
                return answer['result']
            self.events.append(answer)

    def open(self, path):
        """Opens a file, and waits until all of it has been read and its scripts have run."""
        self.events.clear()
        self.ask('Page.navigate', url=pathlib.Path(path).resolve().as_uri())
        while not any(event.get('method') == 'Page.loadEventFired' for event in self.events):
            self.events.append(self.next_message())

    def run(self, script):
        """The value of an expression in the page; a promise is waited for."""
        result = self.ask('Runtime.evaluate', expression=script, returnByValue=True, awaitPromise=True)
        if 'exceptionDetails' in result:
            raise AssertionError(f'{script}: {result["exceptionDetails"]}')
        return result['result'].get('value')

    def settle(self):
        """Waits until the page has been drawn, and what watches the drawing has been told."""
        self.run('new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done))))')

    def type(self, text):
        self.ask('Input.insertText', text=text)

    CODES = {'Enter': 13, 'Escape': 27, ' ': 32, 'End': 35, 'Home': 36, 'ArrowLeft': 37, 'ArrowUp': 38, 'ArrowRight': 39,
             'ArrowDown': 40, 'Tab': 9, '/': 191}

    def press(self, *keys):
        for key in keys:
            code = {'key': key, 'windowsVirtualKeyCode': self.CODES[key]}
            text = {'Enter': '\r'}.get(key, key if len(key) == 1 else None)
            self.ask('Input.dispatchKeyEvent', type='keyDown', **code, **({'text': text} if text else {}))
            self.ask('Input.dispatchKeyEvent', type='keyUp', **code)

    def complaints(self):
        """Errors of scripts, and whatever the page was not allowed to do."""
        self.run('0')
        return [event for event in self.events
                if event['method'] == 'Runtime.exceptionThrown' or
                event['method'] == 'Log.entryAdded' and event['params']['entry']['level'] == 'error']

    def requests(self):
        """The addresses of everything that was asked for, but for data that stands in the page."""
        return [event['params']['request']['url'] for event in self.events
                if event['method'] == 'Network.requestWillBeSent' and
                not event['params']['request']['url'].startswith('data:')]

    def prefer(self, scheme):
        """light or dark"""
        self.ask('Emulation.setEmulatedMedia', features=[{'name': 'prefers-color-scheme', 'value': scheme}])

    def picture(self):
        """The window's content, as a PNG file."""
        return base64.b64decode(self.ask('Page.captureScreenshot', format='png')['data'])

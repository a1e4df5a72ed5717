# SPDX-License-Identifier: Apache-2.0
"""A browser without a window, driven through WebDriver, and the live page on a virtual device."""

import base64
import json
import os
import shutil
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
ELEMENT = 'element-6066-11e4-a52e-4f735466cecf'


def free_port():
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


# Keys, as WebDriver names them.
CONTROL, RELEASE = '\ue009', '\ue000'


def wait_for(what, condition, seconds=40):
    """What condition returns as soon as it is true; a failure that says what was waited for."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f'not within {seconds} s: {what} (last: {value!r})')
        time.sleep(0.1)


class Device:
    """A virtual device that serves its live page at self.link."""

    def __init__(self, scene, *arguments, logs, radios=2):
        self.port = free_port()
        os.makedirs(logs, exist_ok=True)
        self.errors = open(os.path.join(logs, 'live-device.log'), 'w', encoding='utf-8')
        self.process = subprocess.Popen(
            [f'{ROOT}/sim/device/vdev', 'run', '--timeout', '900', '--logs', logs, '--scene', scene,
             '--radios', str(radios), '--forward', str(self.port), '--', 'uwbctl', 'serve', '--listen', '10.0.2.15',
             '--link', f'127.0.0.1:{self.port}', *arguments],
            stdout=subprocess.PIPE, stderr=self.errors, text=True)
        self.link = self.process.stdout.readline().strip()
        assert self.link.startswith(f'http://127.0.0.1:{self.port}/#'), f'no link but {self.link!r}; see {logs}'

    def close(self):
        self.process.terminate()
        status = self.process.wait(30)
        self.errors.close()
        assert status == 143, f'the device ended with {status}; see {self.errors.name}'


class Browser:
    def __init__(self, width=1120, height=760):
        for program in ('chromedriver', 'chromium'):
            assert shutil.which(program), f'{program} is missing; ./dev setup installs it'
        self.folder = tempfile.mkdtemp(prefix='uwb-live-')
        port = free_port()
        self.base = f'http://127.0.0.1:{port}'
        self.driver = subprocess.Popen(['chromedriver', f'--port={port}'], stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
        self.session = None
        wait_for('chromedriver', self._is_ready, 20)
        options = {
            'args': ['--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--no-first-run',
                     '--disable-background-networking', '--disable-component-update', '--disable-sync',
                     '--hide-scrollbars', '--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1',
                     f'--window-size={width},{height}', f'--user-data-dir={self.folder}/profile'],
            'prefs': {'download.default_directory': self.folder, 'download.prompt_for_download': False}}
        self.session = self.call('POST', '/session', {'capabilities': {'alwaysMatch': {
            'browserName': 'chrome', 'goog:chromeOptions': options,
            'goog:loggingPrefs': {'browser': 'ALL', 'performance': 'ALL'}}}})['sessionId']
        self.base += f'/session/{self.session}'

    def _is_ready(self):
        try:
            return self.call('GET', '/status')['ready']
        except OSError:
            return False

    def call(self, method, path, body=None):
        request = urllib.request.Request(
            self.base + path, method=method, headers={'Content-Type': 'application/json'},
            data=None if method != 'POST' else json.dumps(body or {}).encode())
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)['value']
        except urllib.error.HTTPError as error:
            raise AssertionError(json.load(error)['value']['message']) from error

    def open(self, url):
        self.call('POST', '/url', {'url': url})

    def run(self, script, *arguments):
        return self.call('POST', '/execute/sync', {'script': script, 'args': arguments})

    def faults(self, where):
        """What axe-core has to say of a part of the page: rules that it breaks, and where."""
        if not self.run('return "axe" in window'):
            path = subprocess.run([f'{ROOT}/tests/live/axe.sh'], check=True, stdout=subprocess.PIPE, text=True).stdout
            with open(path.strip(), encoding='utf-8') as file:
                self.run(file.read())
        return self.call('POST', '/execute/async', {'args': [where], 'script': """
            const done = arguments[1];
            axe.run(arguments[0], {resultTypes: ['violations']}).then(({ violations }) => done(violations.map(
              ({ id, help, nodes }) => `${id}: ${help}: ${nodes.map(({ target }) => target).join(', ')}`)));"""})

    def told(self):
        """What the browser tells a screen reader: (role, name, how it speaks up) of each thing that is not ignored."""
        nodes = self.devtools('Accessibility.getFullAXTree')['nodes']
        word = lambda node, key: str(node.get(key, {}).get('value', ''))
        return [(word(node, 'role'), word(node, 'name'),
                 next((word(p, 'value') for p in node.get('properties', []) if p['name'] == 'live'), ''))
                for node in nodes if not node['ignored']]

    def devtools(self, command, **parameters):
        return self.call('POST', '/goog/cdp/execute', {'cmd': command, 'params': parameters})

    def find(self, selector):
        return self.call('POST', '/element', {'using': 'css selector', 'value': selector})[ELEMENT]

    def click(self, selector):
        # Away from the bar that stays on top, under which the driver would look for it.
        self.run('document.querySelector(arguments[0]).scrollIntoView({block: "center"})', selector)
        self.call('POST', f'/element/{self.find(selector)}/click')

    def type(self, selector, text):
        self.call('POST', f'/element/{self.find(selector)}/value', {'text': text})

    def text(self, selector):
        return self.run('return document.querySelector(arguments[0])?.textContent ?? ""', selector)

    def write(self, selector, text):
        """Text in the place of what a field has."""
        # By keys alone, as people do it: WebDriver's clear leaves the field, and the page fills it again.
        self.type(selector, CONTROL + 'a' + RELEASE + text)

    def count(self, selector):
        return len(self.call('POST', '/elements', {'using': 'css selector', 'value': selector}))

    def value(self, selector):
        return self.run('return document.querySelector(arguments[0]).value', selector)

    def is_shown(self, selector):
        return self.run('return document.querySelector(arguments[0]).checkVisibility()', selector)

    def is_disabled(self, selector):
        return self.run('return document.querySelector(arguments[0]).disabled', selector)

    def drag(self, selector, right, down, steps=12):
        moves = [{'type': 'pointerMove', 'origin': {ELEMENT: self.find(selector)}, 'x': 0, 'y': 0},
                 {'type': 'pointerDown', 'button': 0}]
        moves += [{'type': 'pointerMove', 'origin': 'pointer', 'duration': 40, 'x': round(right / steps),
                   'y': round(down / steps)} for _ in range(steps)]
        moves += [{'type': 'pointerUp', 'button': 0}]
        self.call('POST', '/actions', {'actions': [
            {'type': 'pointer', 'id': 'hand', 'parameters': {'pointerType': 'mouse'}, 'actions': moves}]})

    def windows(self):
        return self.call('GET', '/window/handles')

    def new_window(self):
        return self.call('POST', '/window/new', {'type': 'tab'})['handle']

    def switch(self, handle):
        self.call('POST', '/window', {'handle': handle})

    def log(self, kind):
        return self.call('POST', '/se/log', {'type': kind})

    def picture(self, path):
        with open(path, 'wb') as file:
            file.write(base64.b64decode(self.call('GET', '/screenshot')))

    def close(self):
        if self.session:
            try:
                self.call('DELETE', '')
            except (AssertionError, OSError):
                pass
        self.driver.terminate()
        self.driver.wait(20)
        shutil.rmtree(self.folder, ignore_errors=True)

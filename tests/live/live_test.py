#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Drives the live page in a real browser: live_test.py LOGS. With --load, a minute of 50 reports a second."""

import glob
import json
import os
import re
import sys
import time

from browser import Browser, Device, wait_for

TAG = '0x5678'  # It rests at (1, 2, 0.5), the radio at the origin.
TRUE_DISTANCE = (1 + 4 + 0.25) ** 0.5
NOISE = 0.030
FAR = 6 * NOISE


def now(page, peer):
    text = page.text(f'tr[data-peer="{peer}"] td.now')
    return float(text) if text.replace('.', '').isdigit() else None


def error_cm(page, peer):
    return float(page.text(f'tr[data-peer="{peer}"] td.off').replace('−', '-').replace('–', 'nan'))


def reports(page):
    return int(page.run('return document.documentElement.dataset.reports'))


def check_loads_a_country(page):
    wait_for('the radio is ready', lambda: page.text('#status') == 'Ready')
    page.click('#tab-country')
    page.type('#country', 'F')
    page.click('#country-apply')
    wait_for('what is wrong', lambda: page.text('#error').startswith('not a country code: F'))
    page.type('#country', 'R')
    page.click('#country-apply')
    wait_for('the calibration', lambda: 'calibration of country FR loaded' in page.text('#log'))


def check_starts_and_measures(page):
    assert page.text('#no-numbers') and page.is_shown('#no-numbers')
    page.click('#primary')
    wait_for('ranging', lambda: page.text('#status').startswith('Ranging with 2 peers on wpan0, channel 9'))
    wait_for('a distance', lambda: now(page, TAG))
    distance = now(page, TAG)
    assert abs(distance - TRUE_DISTANCE) < FAR, f'{TAG} at {distance} m, not {TRUE_DISTANCE:.3f}'
    wait_for('the walking tag', lambda: now(page, '0x1234'))
    assert abs(error_cm(page, '0x1234')) < 100 * FAR, 'the walking tag is not where it walks'


def check_records_and_follows_a_drag(page):
    page.click('#record')
    wait_for('recording', lambda: page.text('#record-text') == 'Recording')
    page.click('#tab-world')
    page.run(f"const s = document.getElementById('things'); s.value = '{TAG}'; s.dispatchEvent(new Event('change'))")
    place = 'return ["x", "y", "z"].map((key) => Number(document.getElementById("thing-" + key).value))'
    before = page.run(place)
    assert before == [1, 2, 0.5], before
    page.drag(f'.handle[data-id="{TAG}"]', 120, -60)
    # The last of a drag is on its way a moment longer.
    time.sleep(1)
    x, y, z = page.run(place)
    assert x > 1.3 and y > 2.1 and z == 0.5, (x, y, z)
    distance = (x * x + y * y + z * z) ** 0.5
    wait_for('the measured tag is dragged along', lambda: abs(now(page, TAG) - distance) < FAR)
    assert abs(error_cm(page, TAG)) < 100 * FAR
    # The same by keyboard.
    page.run(f"document.querySelector('.handle[data-id=\"{TAG}\"]').focus()")
    page.type(f'.handle[data-id="{TAG}"]', '\ue012' * 5)
    wait_for('half a metre to the left', lambda: abs(page.run(place)[0] - (x - 0.5)) < 0.02)


def check_another_page_looks_on(page, device):
    first, seen = page.call('GET', '/window'), reports(page)
    page.switch(page.new_window())
    page.open(device.link.split('#')[0])
    wait_for('the other page sees the peers', lambda: now(page, TAG) and now(page, '0x1234'))
    assert page.is_shown('#looking') and not page.is_shown('#primary')
    status = page.run('return fetch("command/stop", {method: "POST", headers: {"Content-Type": "application/json"}, '
                      'body: "{}"}).then((answer) => answer.status)')
    assert status == 403, f'who looks on may command: {status}'
    page.call('DELETE', '/window')
    page.switch(first)
    wait_for('the first page goes on', lambda: reports(page) > seen + 3)
    assert page.run('return document.documentElement.dataset.missing') == '0'


def check_stops_and_reports(page):
    page.click('#record')
    wait_for('the recording ends', lambda: page.text('#record-text') == 'Record')
    page.click('#primary')
    wait_for('ready again', lambda: page.text('#status') == 'Ready')
    page.click('#save-report')
    page.click('#save-recording')
    report = wait_for('the report', lambda: glob.glob(f'{page.folder}/uwb-report.html'))[0]
    recording = wait_for('the recording', lambda: glob.glob(f'{page.folder}/uwb-walk.jsonl'))[0]
    with open(recording, encoding='utf-8') as file:
        lines = [json.loads(line) for line in file]
    assert lines[0]['type'] == 'session' and lines[-1]['type'] == 'end' and len(lines) > 20
    assert not {'vendorId', 'staticStsIV'} & set(lines[0]['session']), 'keys are in the recording'
    page.open(f'file://{report}')
    assert 'wpan0, session 42' in page.text('h1') and TAG in page.text('table')


def check_only_our_own_server_was_asked(page, device):
    urls = [message['params']['request']['url'] for message in
            (json.loads(entry['message'])['message'] for entry in page.log('performance'))
            if message['method'] == 'Network.requestWillBeSent']
    ours = f'http://127.0.0.1:{device.port}/'
    foreign = [url for url in urls if not url.startswith((ours, 'file://', 'data:', 'blob:', 'chrome://'))]
    assert len(urls) > 10 and not foreign, f'requests to {foreign}'
    # That a stranger's command and no country are refused is what was tried.
    said = [entry['message'] for entry in page.log('browser') if not re.search('status of 40[03]', entry['message'])]
    assert not said, f'the console says {said}'


def test(page, device):
    page.open(device.link)
    check_loads_a_country(page)
    check_starts_and_measures(page)
    check_records_and_follows_a_drag(page)
    check_another_page_looks_on(page, device)
    check_stops_and_reports(page)
    check_only_our_own_server_was_asked(page, device)


def load(page, device):
    """Fifty reports a second with eight peers: every one on the page, and its memory flat."""
    page.open(device.link)
    wait_for('the radio is ready', lambda: page.text('#status') == 'Ready')
    token = page.run('return sessionStorage.getItem("token")')
    peers = [f'0x{number:04x}' for number in range(0x2001, 0x2009)]

    def order(name, arguments):
        status = page.run('return fetch("command/" + arguments[0], {method: "POST", headers: {"Content-Type": '
                          '"application/json", "X-Token": arguments[2]}, body: JSON.stringify(arguments[1])})'
                          '.then((answer) => answer.text())', name, arguments, token)
        assert status == '{}', status

    for number, peer in enumerate(peers):
        order('world/move', {'id': peer, 'x': number - 4, 'y': 3, 'z': 0})
    order('fira/start', {'preset': 'fast', 'members': {
        'destAddressList': peers, 'rangingBlockDurationMs': 20, 'slotsPerRangingRound': 10}})
    wait_for('reports', lambda: reports(page) > 50)

    def heap():
        page.devtools('HeapProfiler.collectGarbage')
        return page.run('return performance.memory.usedJSHeapSize') / 1e6

    begin, count = time.monotonic(), reports(page)
    for _ in range(7):
        print(f'{time.monotonic() - begin:5.1f} s  {reports(page) - count} reports, '
              f'{page.run("return document.documentElement.dataset.missing")} missed, heap {heap():.2f} MB', flush=True)
        time.sleep(10)
    order('stop', {})
    wait_for('ready again', lambda: page.text('#status') == 'Ready')
    time.sleep(1)
    print(page.text('#counts'))
    for row in ('0x2001', '0x2008'):
        print(row, page.text(f'tr[data-peer="{row}"]'))


def main():
    scenario = load if '--load' in sys.argv else test
    device = Device('two-tags', logs=os.path.abspath(sys.argv[1]))
    try:
        page = Browser()
        try:
            scenario(page, device)
        except BaseException:
            page.picture(os.path.join(sys.argv[1], 'live-failed.png'))
            raise
        finally:
            page.close()
    finally:
        device.close()
    print('live page: all is well')


main()

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Drives the live page in a real browser: live_test.py LOGS. With --load, a minute of 50 reports a second."""

import glob
import json
import math
import os
import re
import signal
import sys
import time

from browser import Browser, Device, wait_for

RADIOS = ['wpan0', 'wpan1', 'wpan2', 'wpan3']
ROOM = """# A radio in each corner, and a tag in between
radio 0 0 0 1
radio 1 6 0 1.5
radio 2 6 5 2
radio 3 0 5 1
tag 0x1234 2 3 1.2
"""
CONTROLS = {'button', 'textbox', 'spinbutton', 'combobox', 'checkbox', 'tab', 'link', 'slider', 'DisclosureTriangle'}
LEFT, RIGHT, SHIFT = '\ue012', '\ue014', '\ue008'

TAG = '0x5678'  # It rests at (1, 2, 0.5), the radio at the origin.
TRUE_DISTANCE = (1 + 4 + 0.25) ** 0.5
NOISE = 0.030
FAR = 6 * NOISE


def now(page, peer):
    text = page.text(f'tr[data-peer="{peer}"] td.now')
    return float(text) if text.replace('.', '').isdigit() else None


def number(text):
    """Not a number where the page has a dash: a round may miss anything."""
    return float(text.replace('−', '-').replace('–', 'nan'))


def error_cm(page, peer):
    return number(page.text(f'tr[data-peer="{peer}"] td.off'))


def reports(page):
    return int(page.run('return document.documentElement.dataset.reports'))


def wait_until_ready(page):
    wait_for('the radio is ready', lambda: page.text('#status') == 'Ready')


def wait_for_note(page, text):
    return wait_for(f'"{text}"', lambda: text in page.text('#log'))


def check_loads_a_country(page):
    wait_until_ready(page)
    page.click('#tab-country')
    page.type('#country', 'F')
    page.click('#country-apply')
    wait_for('what is wrong', lambda: page.text('#error').startswith('not a country code: F'))
    page.type('#country', 'R')
    page.click('#country-apply')
    wait_for_note(page, 'calibration of country FR loaded')
    page.click('#tab-fira')


def check_starts_and_measures(page):
    assert page.text('#no-numbers') and page.is_shown('#no-numbers')
    page.click('#primary')
    wait_for('ranging', lambda: page.text('#status').startswith('Ranging with 2 peers on wpan0, channel 9'))
    wait_for('a distance', lambda: now(page, TAG))
    distance = now(page, TAG)
    assert abs(distance - TRUE_DISTANCE) < FAR, f'{TAG} at {distance} m, not {TRUE_DISTANCE:.3f}'
    wait_for('the walking tag', lambda: now(page, '0x1234'))
    assert abs(error_cm(page, '0x1234')) < 100 * FAR, 'the walking tag is not where it walks'
    counted = lambda: number(page.text(f'tr[data-peer="{TAG}"] td.count'))
    wait_for('ten distances', lambda: counted() >= 10)
    page.click('#count-anew')
    # What the page has had stays counted, so that no wait is too long.
    wait_for('a new count', lambda: counted() <= reports(page) - 10)
    wait_for_note(page, 'the numbers are counted anew')


def check_changes_controlees(page):
    page.click('#peers button[aria-label="Remove 0x1234"]')
    wait_for('one peer', lambda: page.text('#status').startswith('Ranging with 1 peer on wpan0'))
    wait_for('the radio has removed it', lambda: page.text('#peers') == f'{TAG}×')
    wait_for('its numbers end', lambda: page.text('tr[data-peer="0x1234"] td.now') == 'removed')
    # It is there, and offered; no more than an address has room for, and nobody twice.
    assert page.text('#offers') == '+ 0x1234'
    for text, wrong in (('0x99999', 'two bytes, such as 0x1234'), (TAG, f'{TAG} is there already'), ('1', '')):
        page.write('#peer', text)
        page.click('#add-peer')
        assert page.run('return document.getElementById("peer").validationMessage') == wrong
    wait_for('why not', lambda: 'own address' in page.text('#error'))
    assert page.value('#peer') == '1', 'what was refused can be mended'
    page.click('#offers button')
    wait_for('two peers', lambda: page.text('#status').startswith('Ranging with 2 peers on wpan0'))
    wait_for('its numbers go on', lambda: now(page, '0x1234'))


def check_says_who_does_not_answer(page):
    page.click('#tab-world')
    for metres, lamp in (('1', 'wait'), ('200', 'good')):
        page.write('#range', metres + '\ue007')
        wait_for(lamp, lambda: page.run('return document.getElementById("lamp").className') == f'lamp {lamp}')
        assert ('no answer from 0x5678, 0x1234' in page.text('#status')) == (lamp == 'wait'), page.text('#status')
        wait_for_note(page, f'range {metres} m')


def check_radios_do_different_things(page):
    """While the first ranges: a digital key on the second, simple ranging on the third."""
    page.click('#radio option[value="wpan1"]')
    page.click('#tab-ccc')
    page.write('#ccc-channel', '4')
    page.click('#ccc-start')
    wait_for('what is wrong', lambda: page.text('#error') and page.is_shown('#error'))
    page.write('#ccc-channel', '5')
    page.click('#ccc-start')
    wait_for('the session', lambda: 'CCC session on wpan1, channel 5' in page.text('#status'))
    assert page.is_shown('#busy') and page.text('#busy') == 'wpan1 is busy: stop it first.'
    page.click('#radio option[value="wpan2"]')
    page.click('#tab-simple')
    page.write('#simple-peers', TAG)
    page.click('#simple-start')
    row = f'tr[data-iface="wpan2"][data-peer="{TAG}"]'
    wait_for('its distance', lambda: page.text(f'{row} td.now').replace('.', '').isdigit())
    # The radio at home: wpan2 is four metres ahead.
    distance = float(page.text(f'{row} td.now'))
    assert abs(distance - (1 + 4 + 0.25) ** 0.5) < FAR, distance
    assert page.text(f'{row} th') == f'{TAG} by wpan2' and now(page, TAG), 'both radios measure it'
    for radio, still in (('wpan2', 'CCC'), ('wpan1', 'Ranging')):
        page.click(f'#radio option[value="{radio}"]')
        page.click('#primary')
        wait_for(f'{radio} stops', lambda: page.text('#primary') == 'Start' and not page.is_disabled('#primary'))
        assert still in page.text('#status'), 'the others go on'
    page.click('#radio option[value="wpan0"]')


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


def check_a_radio_turns(page):
    azimuth = f'tr[data-peer="{TAG}"] td.azimuth'
    seen = lambda: number(page.text(azimuth))
    wait_for('an angle', lambda: not math.isnan(seen()))
    before = seen()
    page.type('.handle[data-id="radio0"]', 'rr')
    wait_for('it looks 30 degrees to the right', lambda: abs(seen() - before + 30) <= 5)
    wait_for('the field says so', lambda: page.value('#thing-heading') == '30')
    wait_for('its distance is what it was', lambda: abs(error_cm(page, TAG)) < 100 * FAR)
    page.type('.handle[data-id="radio0"]', 'll')


def check_another_page_looks_on(page, device):
    first, seen = page.call('GET', '/window'), reports(page)
    page.switch(page.new_window())
    # With another server's token, such as one that has ended.
    page.open(device.link.split('#')[0] + '#deadbeef')
    wait_for('the other page sees the peers', lambda: now(page, TAG) and now(page, '0x1234'))
    assert page.is_shown('#looking') and 'another server' in page.text('#looking') and not page.is_shown('#primary')
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
    wait_for_note(page, 'the recording of wpan0 has ended')
    page.click('#primary')
    wait_until_ready(page)
    page.click('#save-report')
    page.click('#save-recording')
    report = wait_for('the report', lambda: glob.glob(f'{page.folder}/uwb-report.html'))[0]
    recording = wait_for('the recording', lambda: glob.glob(f'{page.folder}/uwb-walk.jsonl'))[0]
    with open(recording, encoding='utf-8') as file:
        lines = [json.loads(line) for line in file]
    assert lines[0]['type'] == 'session' and lines[-1]['type'] == 'end' and len(lines) > 20
    assert not {'vendorId', 'staticStsIV'} & set(lines[0]['session']), 'keys are in the recording'
    first = page.call('GET', '/window')
    page.switch(page.new_window())
    page.open(f'file://{report}')
    assert 'wpan0, session 42' in page.text('h1') and TAG in page.text('table')
    page.call('DELETE', '/window')
    page.switch(first)


def check_scenes_are_opened_and_saved(page):
    page.click('#tab-world')
    path = os.path.join(page.folder, 'room.scene')

    def open_scene(text):
        with open(path, 'w', encoding='utf-8') as file:
            file.write(text)
        page.type('#scene-file', path)

    open_scene(ROOM + 'tag 0x1 nowhere\n')
    wait_for('the mistake by line and word', lambda: 'line 7: nowhere' in page.text('#error'))
    open_scene(ROOM)
    wait_for('the scene', lambda: page.count('.handle') == len(RADIOS) + 1)
    wait_for_note(page, 'scene room loaded: A radio in each corner, and a tag in between')
    # Who presses Remove twice removes one thing.
    page.click('#thing-add')
    wait_for('the new one', lambda: page.value('#things') == '0x1001')
    page.click('#thing-remove')
    wait_for('nothing is chosen', lambda: page.value('#things') == '' and page.is_disabled('#thing-remove'))
    wait_for('the scene’s own are left', lambda: page.count('.handle') == len(RADIOS) + 1)
    page.click('#scene-save')
    saved = wait_for('the file', lambda: glob.glob(f'{page.folder}/my.scene'))[0]
    with open(saved, encoding='utf-8') as file:
        lines = file.read().splitlines()
    assert set(ROOM.splitlines()[1:]) <= set(lines), lines


def is_located_at(page, x, y):
    words = page.text('#place-at').split(', ')
    return (len(words) == 3 and page.text('#place-answers') == '4 of 4'
            and ((float(words[0]) - x) ** 2 + (float(words[1]) - y) ** 2) ** 0.5 < 5 * NOISE)


def check_locates_a_tag_by_four_radios(page):
    page.click('#tab-locate')
    assert page.value('#locate-tag') == '0x1234' and page.value('#locate-anchors').split() == RADIOS
    page.write('#locate-height', '1.2')
    page.click('#locate-start')
    wait_for('where it is', lambda: is_located_at(page, 2, 3))
    assert page.text('#status').startswith('Locating 0x1234 by 4 anchors')
    assert page.count('tbody tr[data-peer="0x1234"]') == len(RADIOS)
    seen = lambda: [number(page.text(f'#place-{name}')) for name in ('residual', 'error', 'rms')]
    wait_for('how far off it is', lambda: not any(map(math.isnan, seen())))
    residual, error, rms = seen()
    assert 0 < residual < 400 * NOISE and 0 < error < 600 * NOISE and rms > 0, (residual, error, rms)
    longer, shorter = (float(word) for word in page.text('#place-ellipse').split(' × '))
    assert 1 < shorter <= longer < 10, (shorter, longer)
    # Neither the tag nor an anchor needs to stay where it was.
    page.type('.handle[data-id="0x1234"]', SHIFT + RIGHT * 2)
    wait_for('it is followed', lambda: is_located_at(page, 4, 3))
    page.type('.handle[data-id="radio1"]', SHIFT + LEFT)
    time.sleep(1)
    wait_for('its anchors are, too', lambda: is_located_at(page, 4, 3))
    page.click('#primary')
    wait_until_ready(page)


def check_loads_a_scene(page):
    page.click('#tab-world')
    page.click('#scenes option[value="two-tags"]')
    page.click('#scene-load')
    wait_for('its name', lambda: 'Scene two-tags' in page.text('#scene-sub'))
    wait_for('its things', lambda: page.count(f'.handle[data-id="{TAG}"]') == 1)


def check_screen_readers_find_their_way(page):
    """Every control has a name of its own, what happens is told, and no rule is broken."""
    for tab in ('fira', 'locate', 'ccc', 'simple', 'world', 'country'):
        page.click(f'#tab-{tab}')
        controls = [(role, name) for role, name, _ in page.told() if role in CONTROLS]
        assert len(controls) > 20 and all(name for _, name in controls), (tab, controls)
        twice = {it for it in controls if controls.count(it) > 1}
        assert not twice, f'{tab}: one of {twice} is which?'
        faults = page.faults('body' if tab == 'fira' else f'#panel-{tab}')
        assert not faults, faults
    # Dark has colours of its own; and an error is said at once, whatever else is being read.
    page.devtools('Emulation.setEmulatedMedia', features=[{'name': 'prefers-color-scheme', 'value': 'dark'}])
    page.write('#country', 'F')
    page.click('#country-apply')
    wait_for('what is wrong', lambda: page.text('#error').startswith('not a country code'))
    time.sleep(0.3)
    faults = page.faults('body')
    assert not faults, faults
    told = {(role, live) for role, _, live in page.told() if live}
    assert {('status', 'polite'), ('log', 'polite'), ('alert', 'assertive')} <= told, told
    moving = [name for role, name, _ in page.told() if role in ('button', 'image') and TAG in name]
    assert any('1.0 m right, 2.0 m ahead' in name for name in moving), moving


def check_only_our_own_server_was_asked(page, device):
    urls = [message['params']['request']['url'] for message in
            (json.loads(entry['message'])['message'] for entry in page.log('performance'))
            if message['method'] == 'Network.requestWillBeSent']
    ours = f'http://127.0.0.1:{device.port}/'
    foreign = [url for url in urls if not url.startswith((ours, 'file://', 'data:', 'blob:', 'chrome://'))]
    assert len(urls) > 10 and not foreign, f'requests to {foreign}'
    # That a stranger's command and no country are refused is what was tried.
    said = [entry['message'] for entry in page.log('browser') if not re.search('status of 40[039]', entry['message'])]
    assert not said, f'the console says {said}'


def test(page, device):
    page.open(device.link)
    for check in (check_loads_a_country, check_starts_and_measures, check_changes_controlees,
                  check_says_who_does_not_answer, check_radios_do_different_things, check_records_and_follows_a_drag, check_a_radio_turns,
                  check_another_page_looks_on, check_stops_and_reports, check_scenes_are_opened_and_saved, check_locates_a_tag_by_four_radios,
                  check_loads_a_scene, check_only_our_own_server_was_asked, check_screen_readers_find_their_way):
        begin = time.monotonic()
        check(page, *[device][:check.__code__.co_argcount - 1])
        print(f'{time.monotonic() - begin:5.1f} s  {check.__name__}', flush=True)


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
    # So that what it has started is ended.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    scenario = load if '--load' in sys.argv else test
    device = Device('two-tags', logs=os.path.abspath(sys.argv[1]), radios=len(RADIOS))
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

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Takes the pictures of the live page from a real run: live_pictures.py FOLDER LOGS."""

import os
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / 'tests/live'))
from browser import Browser, Device, wait_for

SECONDS = 45  # Until the charts have something to show.


def size(page, width, height, scale, mobile=False):
    page.devtools('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=scale,
                  mobile=mobile)


def scheme(page, name):
    page.devtools('Emulation.setEmulatedMedia', features=[{'name': 'prefers-color-scheme', 'value': name}])


def main():
    folder, logs = map(os.path.abspath, sys.argv[1:3])
    device = Device('two-tags', logs=logs)
    page = Browser()
    try:
        scheme(page, 'light')
        size(page, 1440, 1330, 1)
        page.open(device.link)
        # The same letters wherever the pictures are taken.
        page.run("document.body.style.fontFamily = 'Roboto'")
        wait_for('the radio is ready', lambda: page.text('#status') == 'Ready')
        # The calibration names the antennas of the elevation.
        page.click('#tab-country')
        page.type('#country', 'FR')
        page.click('#country-apply')
        wait_for('the calibration', lambda: 'FR loaded' in page.text('#log'))
        page.click('#tab-fira')
        # As a choice in the form, so that elevation is there for the picture in space.
        page.run("const s = document.querySelector('[data-member=angles]'); s.value = 'both';"
                 "s.dispatchEvent(new Event('change'))")
        page.click('#primary')
        wait_for('a report', lambda: page.run('return Number(document.documentElement.dataset.reports)') > 0)
        time.sleep(SECONDS)
        page.picture(f'{folder}/live.png')
        scheme(page, 'dark')
        time.sleep(1)
        page.picture(f'{folder}/live-dark.png')
        scheme(page, 'light')
        size(page, 1100, 800, 1)
        page.click('#view-space')
        time.sleep(2)
        page.picture(f'{folder}/live-space.png')
        page.click('#view-above')
        size(page, 390, 844, 2, mobile=True)
        page.run('scrollTo(0, 0)')
        time.sleep(3)
        page.picture(f'{folder}/live-phone.png')
    finally:
        page.close()
        device.close()


main()

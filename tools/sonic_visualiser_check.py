#!/usr/bin/env python3
"""Sonic Visualiser end to end: the installed plug-in analyses a generated drum recording in
a real Sonic Visualiser on a virtual display, and its layer must hold the transients that
detect-transients prints for the same file (the same count, each time within one sample).

    sonic_visualiser_check.py BUILD_DIR [--screenshot FILE.png] [--break-description]

The plug-in is installed as a user installs it, with its .cat and .n3, into ~/vamp of a
private HOME. Sonic Visualiser is driven by its own script interface (--osc-script): open
the recording, run the transform, export the layer, quit. --break-description removes one
prefix declaration from the installed description, which keeps Sonic Visualiser from
making the layer: the check must then fail. Exit status: 0 passed, 1 failed, 3 skipped
(no virtual display could be started).
"""
import argparse
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import zlib

TRANSFORM = 'vamp:transient-detector:TransientDetector:transients'
RATE = 44100
SKIPPED = 3


def fail(message):
    print('sonic-visualiser check: ' + message, file=sys.stderr)
    sys.exit(1)


def start_display(fbdir, deadline):
    """A virtual display with its frame buffer in a file; None if none can be started."""
    read_end, write_end = os.pipe()
    try:
        xvfb = subprocess.Popen(['Xvfb', '-displayfd', str(write_end), '-screen', '0', '1280x800x24',
                                 '-fbdir', fbdir, '-nolisten', 'tcp'],
                                pass_fds=[write_end], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    except OSError as e:
        print('sonic-visualiser check: cannot start Xvfb (%s)' % e, file=sys.stderr)
        return None, None
    os.close(write_end)
    number = b''
    os.set_blocking(read_end, False)
    while time.time() < deadline and xvfb.poll() is None and not number.endswith(b'\n'):
        try:
            number += os.read(read_end, 16)
        except BlockingIOError:
            time.sleep(0.05)
    os.close(read_end)
    if not number.strip().isdigit():
        xvfb.kill()
        err = xvfb.communicate()[1].decode(errors='replace').strip().splitlines()
        print('sonic-visualiser check: Xvfb started no display (%s)' % (err[-1] if err else 'no message'),
              file=sys.stderr)
        return None, None
    return xvfb, ':' + number.strip().decode()


def screen_png(xwd_path, png_path):
    """The frame buffer (an XWD image of 32-bit pixels) as a PNG file."""
    with open(xwd_path, 'rb') as f:
        data = f.read()
    fields = struct.unpack('>25I', data[:100])
    header, width, height, line_bytes, colours = fields[0], fields[4], fields[5], fields[12], fields[19]
    start = header + colours * 12
    rows = []
    for y in range(height):
        line = data[start + y * line_bytes:start + y * line_bytes + width * 4]
        rgb = bytearray(width * 3)
        rgb[0::3], rgb[1::3], rgb[2::3] = line[2::4], line[1::4], line[0::4]
        rows.append(b'\x00' + bytes(rgb))

    def chunk(kind, body):
        return struct.pack('>I', len(body)) + kind + body + struct.pack('>I', zlib.crc32(kind + body))
    png = (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', width, height, 8, 2, 0, 0, 0)) +
           chunk(b'IDAT', zlib.compress(b''.join(rows), 9)) + chunk(b'IEND', b''))
    with open(png_path + '.part', 'wb') as f:
        f.write(png)
    os.replace(png_path + '.part', png_path)


def settled(path):
    """The file exists and has stopped growing."""
    if not os.path.exists(path):
        return False
    size = os.path.getsize(path)
    time.sleep(0.5)
    return size > 0 and os.path.getsize(path) == size


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('build')
    parser.add_argument('--screenshot')
    parser.add_argument('--break-description', action='store_true')
    args = parser.parse_args()
    build = os.path.abspath(args.build)
    work = tempfile.mkdtemp(prefix='sv-check-')
    try:
        return check(build, work, args)
    finally:
        shutil.rmtree(work, ignore_errors=True)


def run_sonic_visualiser(home, display, work, script, layer, fbdir, screenshot):
    """Runs the script in Sonic Visualiser on the display; returns its log."""
    # The script takes about 12 s; a layer missing after 45 s will not come.
    deadline = time.time() + 45
    env = dict(os.environ, HOME=home, DISPLAY=display, XDG_RUNTIME_DIR=os.path.join(work, 'run'))
    env.pop('VAMP_PATH', None)
    os.makedirs(env['XDG_RUNTIME_DIR'], mode=0o700)
    # Answered in advance: on its first run each version of Sonic Visualiser asks whether
    # it may use the network, and waits for a click.
    try:
        said = subprocess.run(['sonic-visualiser', '--version'], env=env, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=30).stdout.split()
    except subprocess.TimeoutExpired:
        said = []
    version = next((word for word in said if re.fullmatch(r'\d+(\.\d+)+', word)), None)
    if version is None:
        fail('sonic-visualiser --version printed no version')
    config = os.path.join(home, '.config', 'sonic-visualiser')
    os.makedirs(config)
    with open(os.path.join(config, 'Sonic Visualiser.conf'), 'w') as f:
        f.write('[Preferences]\nnetwork-permission-%s=false\n' % version)
    log_path = os.path.join(work, 'sv.log')
    log = open(log_path, 'w')

    def script_done():
        with open(log_path, errors='replace') as f:
            return any(line.startswith('OSCScript: ') and line.rstrip().endswith(': finished') for line in f)

    sv = subprocess.Popen(['sonic-visualiser', '--no-audio', '--no-splash', '--osc-script', script],
                          env=env, stdout=log, stderr=subprocess.STDOUT, start_new_session=True)
    try:
        while time.time() < deadline and sv.poll() is None and not settled(layer) and not script_done():
            time.sleep(0.25)
        if os.path.exists(layer) and screenshot:
            time.sleep(1.5)  # the layer drawn
            screen_png(os.path.join(fbdir, 'Xvfb_screen0'), screenshot)
        try:
            sv.wait(timeout=15 if os.path.exists(layer) else 1)
        except subprocess.TimeoutExpired:
            pass
    finally:
        if sv.poll() is None:
            os.killpg(sv.pid, signal.SIGKILL)
            sv.wait()
        log.close()

    return log_path


def check(build, work, args):
    home = os.path.join(work, 'home')
    prefix = os.path.join(work, 'prefix')
    subprocess.run(['cmake', '--install', build, '--prefix', prefix], check=True, capture_output=True)
    shutil.copytree(os.path.join(prefix, 'lib', 'vamp'), os.path.join(home, 'vamp'))
    if args.break_description:
        n3 = os.path.join(home, 'vamp', 'transient-detector.n3')
        with open(n3) as f:
            lines = [line for line in f if not line.startswith('@prefix doap:')]
        with open(n3, 'w') as f:
            f.writelines(lines)

    wav = os.path.join(work, 'drums.wav')
    subprocess.run([os.path.join(build, 'tools', 'make-example-recording'), wav, '--seconds', '6'],
                   check=True, capture_output=True)
    expected = []
    for line in subprocess.run([os.path.join(build, 'tools', 'detect-transients'), wav], check=True,
                               capture_output=True, text=True).stdout.splitlines():
        expected.append(int(line.split('\t')[1]))

    layer = os.path.join(work, 'layer.csv')
    script = os.path.join(work, 'script.txt')
    with open(script, 'w') as f:
        # Pauses in seconds between commands; the last one leaves time for the screenshot.
        f.write('/open %s\n2\n/transform %s\n3\n/resize 1280 800\n1\n/zoom in\n1\n/exportlayer %s\n6\n/quit\n'
                % (wav, TRANSFORM, layer))

    fbdir = os.path.join(work, 'fb')
    os.makedirs(fbdir)
    xvfb, display = start_display(fbdir, time.time() + 15)
    if xvfb is None:
        print('sonic-visualiser check: no virtual display could be started: skipped')
        return SKIPPED
    try:
        log_path = run_sonic_visualiser(home, display, work, script, layer, fbdir, args.screenshot)
    finally:
        xvfb.kill()
        xvfb.wait()

    if not os.path.exists(layer):
        with open(log_path, errors='replace') as f:
            said = [line.strip() for line in f if 'ransform' in line and 'posting' not in line]
        fail('Sonic Visualiser made no layer from %s (%s)' % (TRANSFORM, '; '.join(said[-3:]) or 'no message'))
    with open(layer) as f:
        got = [float(line.split(',')[0]) for line in f if line.strip()]
    if len(got) != len(expected):
        fail('the layer holds %d transients, detect-transients printed %d' % (len(got), len(expected)))
    for seconds, frame in zip(got, expected):
        if abs(seconds * RATE - frame) > 1.0:
            fail('a transient at %.9f s in the layer, at frame %d in detect-transients' % (seconds, frame))
    print('sonic-visualiser check: the layer holds the %d transients of detect-transients' % len(got))
    return 0


if __name__ == '__main__':
    sys.exit(main())

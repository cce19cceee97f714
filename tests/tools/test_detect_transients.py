#!/usr/bin/env python3
"""End-to-end tests of detect-transients on generated recordings.

Each output format is read back with a parser of its own kind (json, csv, the Audacity
label layout, XML), the times are compared with what the plug-in reports through the
standard vamp-simple-host, and batches, bad input and failed writes are checked for their
messages, exit codes and the files they leave.

    test_detect_transients.py BUILD_DIR
"""
import csv
import io
import json
import math
import os
import random
import re
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import wave
import xml.etree.ElementTree as ET

BUILD = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else 'build'
TOOL = os.path.join(BUILD, 'tools', 'detect-transients')
MAKER = os.path.join(BUILD, 'tools', 'make-example-recording')
PLUGIN_DIR = os.path.join(BUILD, 'transient-detector')


def outside_host_env(**extra):
    """The environment of a host program that is not ours: in a sanitizer build it needs the
    sanitizer runtimes loaded ahead of the instrumented plug-in, and its own leaks are not
    this project's."""
    env = dict(os.environ, **extra)
    preload = os.environ.get('SANITIZER_PRELOAD')
    if preload:
        env['LD_PRELOAD'] = preload
        env['ASAN_OPTIONS'] = 'detect_leaks=0'
    return env


def run(*args, **kw):
    return subprocess.run([TOOL, *args], capture_output=True, text=True, timeout=120, **kw)


def write_stereo(path, seconds=3.0, rate=44100):
    """Left: noise hits every 0.5 s from 0.25 s; right: silence but for one hit at 0.4 s."""
    rnd = random.Random(5)
    frames = []
    for n in range(int(seconds * rate)):
        t = n / rate
        left = 0.7 * math.exp(-((t - 0.25) % 0.5) * 30) * rnd.uniform(-1, 1) if t >= 0.25 else 0.0
        right = 0.7 * math.exp(-(t - 0.4) * 30) * rnd.uniform(-1, 1) if t >= 0.4 else 0.0
        frames.append(struct.pack('<hh', int(left * 32767), int(right * 32767)))
    with wave.open(path, 'wb') as w:
        w.setnchannels(2)
        w.setsampwidth(2)
        w.setframerate(rate)
        w.writeframes(b''.join(frames))


class DetectTransients(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix='detect-transients-')
        cls.drums = os.path.join(cls.dir, 'drums.wav')
        cls.other = os.path.join(cls.dir, 'other.wav')
        subprocess.run([MAKER, cls.drums, '--seconds', '6'], check=True, capture_output=True)
        subprocess.run([MAKER, cls.other, '--seconds', '4', '--seed', '9', '--rate', '48000'],
                       check=True, capture_output=True)
        cls.stereo = os.path.join(cls.dir, 'stereo.wav')
        write_stereo(cls.stereo)

    def text_rows(self, path, *args):
        r = run(path, *args)
        self.assertEqual(r.returncode, 0, r.stderr)
        return [line.split('\t') for line in r.stdout.splitlines()]

    def test_formats_parse_and_agree(self):
        rows = self.text_rows(self.drums)
        self.assertGreater(len(rows), 10)
        times = [float(r[0]) for r in rows]
        self.assertEqual(times, sorted(times))
        for r in rows:
            self.assertEqual(len(r), 3)
            self.assertEqual(int(r[1]), round(float(r[0]) * 44100))
            self.assertTrue(0.0 <= float(r[2]) <= 2.0)

        data = json.loads(run(self.drums, '--format', 'json').stdout)
        self.assertEqual(data['sampleRate'], 44100)
        self.assertEqual([t['time'] for t in data['transients']], times)
        self.assertEqual([t['frame'] for t in data['transients']], [int(r[1]) for r in rows])

        table = list(csv.DictReader(io.StringIO(run(self.drums, '--format', 'csv').stdout)))
        self.assertEqual([float(t['time']) for t in table], times)
        self.assertEqual([float(t['strength']) for t in table], [float(r[2]) for r in rows])

        labels = run(self.drums, '--format', 'labels').stdout.splitlines()
        self.assertEqual(len(labels), len(rows))
        for line, t in zip(labels, times):
            start, end, text = line.split('\t')  # Audacity: start, end, label
            self.assertEqual(float(start), t)
            self.assertEqual(float(end), t)
            float(text)

        root = ET.fromstring(run(self.drums, '--format', 'sv').stdout)
        points = root.findall('./data/dataset/point')
        self.assertEqual([int(p.get('frame')) for p in points], [int(r[1]) for r in rows])
        self.assertEqual(root.find('./data/model').get('sampleRate'), '44100')

    def test_times_are_the_plugins(self):
        """The same transients as the plug-in gives any Vamp host, here vamp-simple-host."""
        env = outside_host_env(VAMP_PATH=PLUGIN_DIR)
        for path in (self.drums, self.other):
            host = subprocess.run(['vamp-simple-host', 'transient-detector:TransientDetector', path],
                                  capture_output=True, text=True, env=env, timeout=120)
            self.assertEqual(host.returncode, 0, host.stderr)
            want = [float(l.split(':')[0]) for l in host.stdout.splitlines() if l.strip()[:1].isdigit()]
            got = [float(r[0]) for r in self.text_rows(path)]
            self.assertEqual(len(got), len(want))
            for g, w in zip(got, want):
                self.assertAlmostEqual(g, w, delta=1e-6)

    def test_channels_and_parameters(self):
        mixed = self.text_rows(self.stereo)
        left = self.text_rows(self.stereo, '--channel', '1')
        right = self.text_rows(self.stereo, '--channel', '2')
        self.assertGreater(len(left), 3)
        self.assertEqual(len(right), 1)  # its one hit
        self.assertAlmostEqual(float(right[0][0]), 0.4, delta=0.01)
        self.assertGreaterEqual(len(mixed), len(left))
        r = run(self.stereo, '--channel', '3')
        self.assertNotEqual(r.returncode, 0)
        self.assertIn('stereo.wav', r.stderr)
        self.assertIn('2 channels', r.stderr)
        # A higher threshold finds a subset; block and step sizes change little.
        strict = self.text_rows(self.drums, '--threshold', '90')
        self.assertLess(len(strict), len(self.text_rows(self.drums)))
        small = self.text_rows(self.drums, '--block-size', '8192', '--step-size', '8192')
        self.assertAlmostEqual(len(small), len(self.text_rows(self.drums)), delta=2)

    def test_batch_order_and_failures(self):
        missing = os.path.join(self.dir, 'missing.wav')
        bad = os.path.join(self.dir, 'bad.wav')
        with open(bad, 'wb') as f:
            f.write(b'not audio at all')
        r = run(self.drums, missing, self.other, bad, '-j', '3', '--format', 'csv')
        self.assertEqual(r.returncode, 2)  # two failures
        self.assertIn("cannot read '" + missing, r.stderr)
        self.assertIn("cannot read '" + bad, r.stderr)
        files = [row['file'] for row in csv.DictReader(io.StringIO(r.stdout))]
        self.assertIn(self.drums, files)
        self.assertIn(self.other, files)
        self.assertLess(files.index(self.drums), files.index(self.other))  # input order
        empty = os.path.join(self.dir, 'empty.wav')
        with wave.open(empty, 'wb') as w:
            w.setnchannels(1)
            w.setsampwidth(2)
            w.setframerate(44100)
        r = run(empty)
        self.assertEqual(r.returncode, 1)
        self.assertIn('empty.wav', r.stderr)

    def test_option_errors(self):
        for args, words in ((['--threshold', '101'], '--threshold'),
                            (['--noise-floor', 'loud'], 'not a number'),
                            (['--block-size', '0'], 'out of range'),
                            (['--step-size', '70000'], 'larger than the block size'),
                            (['--format', 'xml'], "'xml'"),
                            (['--bogus'], "'--bogus'"),
                            ([], 'no input file')):
            r = run(*(args + ([self.drums] if args else [])))
            self.assertEqual(r.returncode, 2, args)
            self.assertIn(words, r.stderr, args)
            self.assertEqual(r.stdout, '')

    def test_output_and_plot_files(self):
        out = os.path.join(self.dir, 'out.json')
        svg = os.path.join(self.dir, 'plot.svg')
        r = run(self.drums, '--format', 'json', '-o', out, '--plot', svg)
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(r.stdout, '')
        with open(out) as f:
            self.assertGreater(len(json.load(f)['transients']), 10)
        plot = ET.parse(svg).getroot()
        self.assertTrue(plot.tag.endswith('svg'))
        self.assertGreater(len(plot.findall('{http://www.w3.org/2000/svg}circle')), 10)
        # A failing write leaves neither the file nor its temporary.
        target = os.path.join(self.dir, 'no', 'such', 'dir', 'out.txt')
        r = run(self.drums, '-o', target)
        self.assertEqual(r.returncode, 1)
        self.assertIn(target, r.stderr)
        self.assertFalse(os.path.exists(target))
        # An interrupted run leaves nothing behind either.
        long_file = os.path.join(self.dir, 'long.wav')
        subprocess.run([MAKER, long_file, '--seconds', '600'], check=True, capture_output=True)
        partial = os.path.join(self.dir, 'interrupted.txt')
        p = subprocess.Popen([TOOL, long_file, '-o', partial, '--plot', partial + '.svg'])
        time.sleep(0.3)
        p.send_signal(signal.SIGTERM)
        p.wait(timeout=60)
        self.assertFalse(os.path.exists(partial))
        self.assertFalse(os.path.exists(partial + '.part'))
        self.assertFalse(os.path.exists(partial + '.svg'))


class Install(unittest.TestCase):
    def test_install_where_hosts_look(self):
        prefix = tempfile.mkdtemp(prefix='install-')
        subprocess.run(['cmake', '--install', BUILD, '--prefix', prefix], check=True,
                       capture_output=True)
        vamp = os.path.join(prefix, 'lib', 'vamp')
        for name in ('transient-detector.so', 'transient-detector.cat', 'transient-detector.n3'):
            self.assertTrue(os.path.isfile(os.path.join(vamp, name)), name)
        listing = subprocess.run(['vamp-simple-host', '-l'], capture_output=True, text=True,
                                 env=outside_host_env(VAMP_PATH=vamp), timeout=60)
        self.assertIn(os.path.join(vamp, 'transient-detector.so'), listing.stdout)
        self.assertIn('"TransientDetector" [Kesmor GmbH]', listing.stdout)
        with open(os.path.join(vamp, 'transient-detector.cat')) as f:
            self.assertEqual(f.read(), 'vamp:transient-detector:TransientDetector::Time > Onsets\n')
        self.check_rdf_description(os.path.join(vamp, 'transient-detector.n3'))
        # The installed host finds the installed plug-in with no VAMP_PATH.
        env = {k: v for k, v in os.environ.items() if k != 'VAMP_PATH'}
        wav = os.path.join(prefix, 'x.wav')
        subprocess.run([MAKER, wav, '--seconds', '3'], check=True, capture_output=True)
        r = subprocess.run([os.path.join(prefix, 'bin', 'detect-transients'), wav],
                           capture_output=True, text=True, env=env, timeout=60)
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertGreater(len(r.stdout.splitlines()), 3)

    def check_rdf_description(self, path):
        """The description parses as Turtle and states what the plug-in itself says. It
        declares the prefixes Vamp descriptions conventionally declare: Sonic Visualiser
        asks every installed description for doap: properties and makes no layer when the
        prefix is unknown."""
        with open(path) as f:
            declared = re.findall(r'^@prefix\s+(\w*):', f.read(), re.M)
        for prefix in ('rdfs', 'xsd', 'vamp', 'plugbase', 'owl', 'dc', 'af', 'foaf', 'doap', 'cc'):
            self.assertIn(prefix, declared)
        r = subprocess.run(['rapper', '-q', '-i', 'turtle', '-o', 'ntriples', path],
                           capture_output=True, text=True)
        self.assertEqual(r.returncode, 0, r.stderr)
        triples = set()
        for line in r.stdout.splitlines():
            s, p, o = re.match(r'(\S+) (\S+) (.*) \.$', line).groups()
            local = lambda term: re.split(r'[#/]', term.strip('<>'))[-1]
            value = o[1:o.index('"', 1)] if o.startswith('"') else local(o)
            triples.add((local(s), local(p), value))
        base = 'TransientDetector'
        want = {(base, 'type', 'Plugin'), (base, 'identifier', 'TransientDetector'),
                (base, 'name', 'Transient Detector'), (base, 'description', 'Detect transients'),
                (base, 'rights', '2013 Kesmor GmbH'), (base, 'versionInfo', '2'),
                (base, 'input_domain', 'TimeDomain'), (base, 'vamp_API_version', 'api_version_2')}
        for ident, name, lo, hi, default in (('RaiseThreshold', 'Attack Threshold', '0', '100', '12'),
                                             ('NoiseFloor', 'Noise Floor', '-100', '-20', '-60')):
            param = base + '_param_' + ident
            want |= {(base, 'parameter', param), (param, 'identifier', ident), (param, 'title', name),
                     (param, 'min_value', lo), (param, 'max_value', hi),
                     (param, 'default_value', default)}
        out = base + '_output_transients'
        want |= {(base, 'output', out), (out, 'identifier', 'transients'), (out, 'title', 'Transients'),
                 (out, 'description', 'The locations of transients'), (out, 'bin_count', '1'),
                 (out, 'sample_type', 'VariableSampleRate'), (out, 'computes_event_type', 'Onset')}
        self.assertEqual(want - triples, set())

if __name__ == '__main__':
    unittest.main(verbosity=2)

#!/usr/bin/env python3
"""End-to-end tests of detect-transients on generated recordings.

Each output format is read back with a parser of its own kind (json, csv, the Audacity
label layout, XML), the times are compared with what the plug-in reports through the
standard vamp-simple-host, batches, bad input, failed writes and interruptions are checked
for their messages, exit codes and the files they leave, and the README's examples are
run as written.

    test_detect_transients.py BUILD_DIR
"""
import csv
import ctypes
import io
import json
import math
import os
import random
import re
import shlex
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
README = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'README.md')


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


def unknown_length(path):
    """The WAV file's bytes as a recorder streams them before it knows the length: RIFF and
    data sizes 0xFFFFFFFF. Read from a pipe, libsndfile reports 2^31 - 1 frames for it."""
    with open(path, 'rb') as f:
        data = bytearray(f.read())
    i = data.index(b'data')
    data[4:8] = data[i + 4:i + 8] = b'\xff' * 4
    return bytes(data)


def sndfile():
    lib = ctypes.CDLL('libsndfile.so.1')
    lib.sf_open.restype = ctypes.c_void_p
    lib.sf_open.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p]
    for name in ('sf_writef_int', 'sf_writef_float', 'sf_readf_int', 'sf_readf_float'):
        getattr(lib, name).argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]
        getattr(lib, name).restype = ctypes.c_int64
    lib.sf_close.argtypes = [ctypes.c_void_p]
    return lib


def write_sound(path, fmt, samples, rate=44100):
    """Mono `samples` (ints aligned to the top of 32 bits, or floats) written through
    libsndfile's C interface in format `fmt` (SF_FORMAT_* major | minor)."""
    lib = sndfile()
    info = ctypes.create_string_buffer(struct.pack('<qiiiii', 0, rate, 1, fmt, 0, 0), 32)
    sf = lib.sf_open(path.encode(), 0x20, info)  # SFM_WRITE
    floats = isinstance(samples[0], float)
    data = (ctypes.c_float if floats else ctypes.c_int32) * len(samples)
    write = lib.sf_writef_float if floats else lib.sf_writef_int
    assert sf and write(sf, data(*samples), len(samples)) == len(samples) and lib.sf_close(sf) == 0, path


def read_sound(path, floats):
    """Every sample of a mono file as libsndfile reads it, as ints or floats."""
    lib = sndfile()
    info = ctypes.create_string_buffer(32)
    sf = lib.sf_open(path.encode(), 0x10, info)  # SFM_READ
    assert sf, path
    kind = ctypes.c_float if floats else ctypes.c_int32
    read = lib.sf_readf_float if floats else lib.sf_readf_int
    out, block = [], (kind * 4096)()
    while True:
        n = read(sf, block, 4096)
        if n <= 0:
            break
        out.extend(block[:n])
    lib.sf_close(sf)
    return out


def write_flac(path):
    """An example recording re-encoded as FLAC (16-bit) through libsndfile's C interface."""
    wav_path = os.path.join(tempfile.mkdtemp(prefix='flac-'), 'pcm.wav')
    subprocess.run([MAKER, wav_path, '--seconds', '4'], check=True, capture_output=True)
    write_sound(path, 0x170002, read_sound(wav_path, False))


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
        # A higher threshold finds fewer.
        strict = self.text_rows(self.drums, '--threshold', '90')
        self.assertLess(len(strict), len(self.text_rows(self.drums)))

    def test_batch_makes_one_document(self):
        """A batch with two bad files: the others still make one document, in input order,
        on standard output or in the -o file; the bad ones are named and the exit status
        is 1."""
        missing = os.path.join(self.dir, 'missing.wav')
        bad = os.path.join(self.dir, 'bad.wav')
        with open(bad, 'wb') as f:
            f.write(b'not audio at all')
        files_in = {'csv': lambda doc: [row['file'] for row in csv.DictReader(io.StringIO(doc))],
                    'json': lambda doc: [obj['file'] for obj in json.loads(doc)],
                    'text': lambda doc: [l[2:] for l in doc.splitlines() if l.startswith('# ')]}
        for fmt, read_files in files_in.items():
            out = os.path.join(self.dir, 'batch.' + fmt)
            for to_file in (False, True):
                r = run(self.drums, missing, self.other, bad, '-j', '3', '--format', fmt,
                        *(['-o', out] if to_file else []))
                self.assertEqual(r.returncode, 1, (fmt, to_file))
                self.assertIn("cannot read '" + missing, r.stderr)
                self.assertIn("cannot read '" + bad, r.stderr)
                if to_file:
                    self.assertEqual(r.stdout, '')
                    with open(out) as f:
                        doc = f.read()
                else:
                    doc = r.stdout
                self.assertEqual(list(dict.fromkeys(read_files(doc))), [self.drums, self.other], fmt)
        # Nothing analysed: no document, no file.
        nothing = os.path.join(self.dir, 'nothing.json')
        r = run(missing, bad, '--format', 'json', '-o', nothing)
        self.assertEqual(r.returncode, 1)
        self.assertFalse(os.path.exists(nothing))
        self.assertFalse(os.path.exists(nothing + '.part'))
        empty = os.path.join(self.dir, 'empty.wav')
        with wave.open(empty, 'wb') as w:
            w.setnchannels(1)
            w.setsampwidth(2)
            w.setframerate(44100)
        r = run(empty)
        self.assertEqual(r.returncode, 1)
        self.assertIn("'" + empty + "' holds no audio", r.stderr)
        with open('/dev/full', 'w') as full:
            r = subprocess.run([TOOL, self.drums], stdout=full, stderr=subprocess.PIPE, text=True, timeout=120)
        self.assertEqual(r.returncode, 1)
        self.assertIn('cannot write standard output', r.stderr)

    def test_option_errors(self):
        out = os.path.join(self.dir, 'refused.txt')
        for args, words in ((['--threshold', '101'], '--threshold'),
                            (['--noise-floor', 'loud'], 'not a number'),
                            (['--block-size', '0'], 'out of range'),
                            (['--step-size', '70000'], 'larger than the block size'),
                            (['--format', 'xml'], "'xml'"),
                            (['--bogus'], "'--bogus'"),
                            ([self.other, '--plot', 'x.svg'], '--plot draws one file'),
                            ([self.other, '--format', 'labels', '-o', out], 'use --format csv or --format json'),
                            ([self.other, '--format', 'sv'], 'use --format csv or --format json'),
                            (['--shard', '4/4'], "'4/4' is out of range"),
                            (['--files-from', out], "cannot read the file list '%s'" % out),
                            (['--output-dir', self.dir, '--plot', 'x.svg'], '--plot writes one file'),
                            (['--force'], '--force goes with --output-dir'),
                            (['--pre-roll', '5'], '--pre-roll goes with --slice'),
                            ([], 'no input file')):
            r = run(*(args + ([self.drums] if args else [])))
            self.assertEqual(r.returncode, 2, args)
            self.assertIn(words, r.stderr, args)
            self.assertEqual(r.stdout, '')
        self.assertFalse(os.path.exists(out))

    def test_failed_and_interrupted_writes(self):
        # A failing write leaves neither the file nor its temporary.
        target = os.path.join(self.dir, 'no', 'such', 'dir', 'out.txt')
        r = run(self.drums, '-o', target)
        self.assertEqual(r.returncode, 1)
        self.assertIn(target, r.stderr)
        self.assertFalse(os.path.exists(target))
        # Interrupted half-way through a stream that has not ended, the run leaves nothing
        # behind: the outputs' temporaries, open from the start, are removed.
        partial = os.path.join(self.dir, 'interrupted.txt')
        p = subprocess.Popen([TOOL, '-', '-o', partial, '--plot', partial + '.svg'], stdin=subprocess.PIPE)
        p.stdin.write(unknown_length(self.drums)[:100000])
        p.stdin.flush()
        temporaries = (partial + '.part', partial + '.svg.part')
        deadline = time.monotonic() + 60
        while not all(map(os.path.exists, temporaries)) and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertTrue(all(map(os.path.exists, temporaries)))
        p.send_signal(signal.SIGTERM)
        self.assertEqual(p.wait(timeout=60), -signal.SIGTERM)
        p.stdin.close()
        for path in (partial, partial + '.svg') + temporaries:
            self.assertFalse(os.path.exists(path), path)

    def test_stream_of_unknown_length(self):
        """Piped in with its length left open in the header, a recording is analysed to its
        real end: the same transients and the same plot, waveform and markers over the
        whole width, as from the file."""
        svg = {}
        for name, args, stream in (('file', [self.drums], None), ('pipe', ['-'], unknown_length(self.drums))):
            svg[name] = os.path.join(self.dir, name + '.svg')
            r = subprocess.run([TOOL, *args, '--plot', svg[name]], input=stream, capture_output=True,
                               timeout=120)
            self.assertEqual(r.returncode, 0, r.stderr)
            with open(svg[name]) as f:
                svg[name] = (r.stdout, f.read().replace(self.drums + ':', '-:'))  # the title names the input
        self.assertEqual(svg['pipe'], svg['file'])

    def test_midi_notes_fall_on_the_transients(self):
        out = os.path.join(self.dir, 'drums.mid')
        r = run(self.drums, '--format', 'midi', '-o', out, '--midi-note', '38')
        self.assertEqual(r.returncode, 0, r.stderr)
        rows = self.text_rows(self.drums)
        midi = midi_notes(out)
        self.assertEqual((midi['type'], midi['ticks']), (0, 500))
        self.assertEqual(len(midi['notes']), len(rows))
        for (start, end, note, velocity, channel), (time, _, strength) in zip(midi['notes'], rows):
            self.assertAlmostEqual(start, float(time), delta=0.0005)  # to the millisecond
            self.assertTrue(0 < end - start < 0.0505, end - start)  # 50 ms, or to the next note
            self.assertEqual((note, channel), (38, 9))
            self.assertLessEqual(abs(velocity - (float(strength) / 2 * 126 + 1)), 1)
        piped = subprocess.run([TOOL, self.drums, '--format', 'midi', '--midi-note', '38'], capture_output=True,
                               timeout=60)
        with open(out, 'rb') as f:
            self.assertEqual(piped.stdout, f.read())



class Slices(unittest.TestCase):
    def test_slices_join_to_the_input_sample_for_sample(self):
        work = tempfile.mkdtemp(prefix='slices-')
        source = os.path.join(work, 'source.wav')
        subprocess.run([MAKER, source, '--seconds', '3', '--rate', '48000'], check=True, capture_output=True)
        pcm = read_sound(source, False)
        # Below the 16 bits of the source, so that a 16-bit passage would show.
        deep = [x | ((i * 7919) & 0xFF00) for i, x in enumerate(pcm)]
        cases = (('pcm16.wav', 0x10002, pcm), ('pcm24.wav', 0x10003, deep),
                 ('float.wav', 0x10006, [x / 2147483648.0 + (i % 7) * 1e-9 for i, x in enumerate(pcm)]),
                 ('flac24.flac', 0x170003, deep))
        for name, fmt, samples in cases:
            with self.subTest(name):
                path = os.path.join(work, name)
                write_sound(path, fmt, samples, rate=48000)
                floats = isinstance(samples[0], float)
                whole = read_sound(path, floats)
                out = os.path.join(work, 'cut-' + name)
                r = run(path, '--slice', out, '--pre-roll', '2')
                self.assertEqual(r.returncode, 0, r.stderr)
                frames = [int(line.split('\t')[1]) for line in r.stdout.splitlines()]
                pieces = sorted(os.listdir(out))
                stem, ext = os.path.splitext(name)
                self.assertEqual(pieces, ['%s-%03d%s' % (stem, k, ext) for k in range(len(frames) + 1)])
                parts = [read_sound(os.path.join(out, p), floats) for p in pieces]
                self.assertEqual(sum(parts, []), whole)
                # Each cut 2 ms (96 frames) before its transient.
                starts = [sum(len(p) for p in parts[:k]) for k in range(1, len(parts))]
                self.assertEqual(starts, [f - 96 for f in frames])


class Collections(unittest.TestCase):
    """--files-from, --output-dir with its resumption, --mirror and --shard, and a collection
    spread over GNU parallel's jobs."""

    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix='collection-')
        cls.files = []
        for i in range(40):
            path = os.path.join(cls.dir, 'in', 'ab'[i % 2], 'take%02d.wav' % i)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            subprocess.run([MAKER, path, '--seconds', '1.5', '--seed', str(i)], check=True,
                           capture_output=True)
            cls.files.append(path)
        cls.list = os.path.join(cls.dir, 'list.txt')
        with open(cls.list, 'w') as f:
            f.write('\n'.join(cls.files) + '\n')

    def outputs(self, folder):
        found = {}
        for top, _, names in os.walk(folder):
            for name in names:
                with open(os.path.join(top, name)) as f:
                    found[os.path.relpath(os.path.join(top, name), folder)] = f.read()
        return found

    def test_one_output_each_resumed_where_it_stopped(self):
        out = os.path.join(self.dir, 'resumed')
        listed = self.files[:6] + [os.path.join(self.dir, 'in', 'missing.wav')]
        r = run('--files-from', '-', '--output-dir', out, '--mirror', input='\n'.join(listed))
        self.assertEqual(r.returncode, 1)
        self.assertIn("cannot read '%s'" % listed[-1], r.stderr)
        self.assertRegex(r.stderr, r'6 done, 0 skipped, 1 failed; [0-9.]+ hours of audio')
        got = self.outputs(out)
        self.assertEqual(sorted(got), sorted(os.path.join('ab'[i % 2], 'take%02d.txt' % i) for i in range(6)))
        self.assertEqual(got[os.path.join('a', 'take00.txt')], run(self.files[0]).stdout)
        # A second run skips what is there; a lost output is made again; --force redoes all.
        os.remove(os.path.join(out, 'b', 'take03.txt'))
        r = run('--files-from', '-', '--output-dir', out, '--mirror', input='\n'.join(listed[:6]))
        self.assertEqual((r.returncode, r.stderr.count('1 done, 5 skipped, 0 failed')), (0, 1), r.stderr)
        self.assertEqual(self.outputs(out), got)
        r = run(*listed[:6], '--output-dir', out, '--mirror', '--force', '--format', 'json')
        self.assertIn('6 done, 0 skipped', r.stderr)
        self.assertEqual(len(self.outputs(out)), 12)
        # Without --mirror two inputs of one name would share an output: refused at once.
        r = run(self.files[0], os.path.join(self.dir, 'in', 'b', '..', 'a', 'take00.wav'), self.files[1],
                '--output-dir', os.path.join(self.dir, 'flat'))
        self.assertEqual(r.returncode, 2)
        self.assertIn("would both write", r.stderr)
        self.assertFalse(os.path.exists(os.path.join(self.dir, 'flat')))

    def test_shards_and_parallel_jobs_give_the_one_run_outputs(self):
        one = os.path.join(self.dir, 'one')
        self.assertEqual(run('--files-from', self.list, '--output-dir', one, '-q').returncode, 0)
        expected = self.outputs(one)
        self.assertEqual(len(expected), 40)
        shards = os.path.join(self.dir, 'shards')
        for k in range(4):
            r = run('--files-from', self.list, '--output-dir', shards, '--shard', '%d/4' % k)
            self.assertIn('10 done, 0 skipped', r.stderr)
        self.assertEqual(self.outputs(shards), expected)
        spread = os.path.join(self.dir, 'parallel')
        r = subprocess.run(['parallel', '--will-cite', '-j4', TOOL, '-q', '--output-dir', spread, '{}',
                            '::::', self.list], capture_output=True, text=True, timeout=300)
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(self.outputs(spread), expected)


class ReadmeExamples(unittest.TestCase):
    def test_examples_run_as_written(self):
        """Every detect-transients command in the README's examples, run by the shell as
        written in a folder that holds the recordings it names; its outputs must parse."""
        with open(README) as f:
            blocks = re.findall(r'^```sh\n(.*?)^```', f.read(), re.S | re.M)
        # The collection examples need a list and run as whole blocks: the next test.
        lines = [l for b in blocks for l in b.splitlines()
                 if l.startswith('detect-transients ') and '--files-from' not in l and not l.endswith('\\')]
        self.assertTrue(lines)
        work = tempfile.mkdtemp(prefix='readme-')
        words = {line: shlex.split(line, comments=True) for line in lines}
        for name in {w for ws in words.values() for w in ws if re.fullmatch(r'[\w-]+\.(wav|flac)', w)}:
            path = os.path.join(work, name)
            if name.startswith('stereo'):
                write_stereo(path)
            elif name.endswith('.flac'):
                write_flac(path)
            else:
                subprocess.run([MAKER, path, '--seconds', '4'], check=True, capture_output=True)
        env = dict(os.environ, PATH=os.path.dirname(TOOL) + os.pathsep + os.environ['PATH'])
        for line in lines:
            with self.subTest(line):
                r = subprocess.run(['bash', '-c', line], cwd=work, env=env, capture_output=True, text=True,
                                   timeout=120)
                self.assertEqual(r.returncode, 0, r.stderr)
                ws = words[line]
                outputs = [ws[i + 1] for i, w in enumerate(ws) if w in ('-o', '--plot')]
                for name in outputs:
                    if name.endswith('.mid'):
                        self.assertGreater(len(midi_notes(os.path.join(work, name))['notes']), 0)
                        continue
                    with open(os.path.join(work, name)) as f:
                        self.assertGreater(len(transients_in(name, f.read())), 0, name)
                if not outputs:
                    self.assertGreater(len(transients_in('-', r.stdout)), 0)
        self.assertEqual([n for n in os.listdir(work) if n.endswith('.part')], [])

    def test_collection_examples_run_as_written(self):
        """The README's collection examples that run on one machine, each block as one shell
        script, over a small corpus of FLAC files."""
        with open(README) as f:
            text = f.read()
        section = text[text.index('### Collections'):text.index('### Files, errors and exit status')]
        blocks = [b.replace('\\\n', ' ') for b in re.findall(r'^```sh\n(.*?)^```', section, re.S | re.M)
                  if '--sshlogin' not in b]
        self.assertEqual(len(blocks), 2)
        work = tempfile.mkdtemp(prefix='readme-collection-')
        for name in ('corpus/a/one.flac', 'corpus/b/two.flac'):
            os.makedirs(os.path.join(work, os.path.dirname(name)), exist_ok=True)
            write_flac(os.path.join(work, name))
        env = dict(os.environ, PATH=os.path.dirname(TOOL) + os.pathsep + os.environ['PATH'],
                   SLURM_ARRAY_TASK_ID='1', SLURM_ARRAY_TASK_COUNT='2')
        for block in blocks:
            with self.subTest(block):
                r = subprocess.run(['bash', '-c', block], cwd=work, env=env, capture_output=True, text=True,
                                   timeout=120)
                self.assertEqual(r.returncode, 0, r.stderr)
        for name in ('results/a/one.json', 'results/b/two.json'):
            with open(os.path.join(work, name)) as f:
                self.assertGreater(len(json.load(f)['transients']), 0)
        # The shard 1 of 2 took the second file of the list, written flat beside them.
        with open(os.path.join(work, 'list.txt')) as f:
            second = f.read().split()[1]
        stem = os.path.splitext(os.path.basename(second))[0]
        self.assertTrue(os.path.exists(os.path.join(work, 'results', stem + '.txt')))

    def test_host_examples_run_as_written(self):
        """The vamp-simple-host commands of the README, from a folder whose build/ is ours."""
        with open(README) as f:
            text = f.read().replace('\\\n', ' ')
        blocks = re.findall(r'^```sh\n(.*?)^```', text, re.S | re.M)
        lines = [l for b in blocks for l in b.splitlines() if ' vamp-simple-host ' in l]
        self.assertEqual(len(lines), 3)
        work = tempfile.mkdtemp(prefix='readme-hosts-')
        os.symlink(BUILD, os.path.join(work, 'build'))
        subprocess.run([MAKER, os.path.join(work, 'recording.wav'), '--seconds', '4'], check=True,
                       capture_output=True)
        for line in lines:
            with self.subTest(line):
                r = subprocess.run(['bash', '-c', line], cwd=work, env=outside_host_env(),
                                   capture_output=True, text=True, timeout=120)
                self.assertEqual(r.returncode, 0, r.stderr)
                # The comment quotes the form of the result lines.
                shown = re.search(r'"(.*?)"', line)
                if shown is None:
                    self.assertIn('Transient Detector, "TransientDetector"', r.stdout)
                    continue
                pattern = re.sub(r'\d+(\.\d+)?', r'\\d+(\\.\\d+)?', shown.group(1))
                self.assertTrue(re.search('^' + pattern + r' *$', r.stdout, re.M), r.stdout[:300])


# Debian's mido, an independent reader of MIDI files, belongs to the system's Python.
MIDO_PYTHON = '/usr/bin/python3'


def midi_notes(path):
    """The notes of a MIDI file as mido reads them: type, resolution and per note its start
    and end in seconds, its number, velocity and channel."""
    script = (
        'import json, sys, mido\n'
        'm = mido.MidiFile(sys.argv[1]); t = 0; notes = []; ends = []\n'
        'for msg in m:\n'
        '    t += msg.time\n'
        '    if msg.type == "note_on" and msg.velocity:\n'
        '        notes.append([t, None, msg.note, msg.velocity, msg.channel])\n'
        '    elif msg.type in ("note_off", "note_on"):\n'
        '        next(n for n in notes if n[1] is None)[1] = t\n'
        'print(json.dumps({"type": m.type, "ticks": m.ticks_per_beat, "notes": notes}))\n')
    r = subprocess.run([MIDO_PYTHON, '-c', script, path], capture_output=True, text=True, timeout=60)
    assert r.returncode == 0, r.stderr
    return json.loads(r.stdout)


def transients_in(name, doc):
    """The transients of one of the tool's outputs, parsed as its file name's extension
    says (csv, an Audacity label track in .txt, a Sonic Visualiser layer, an SVG plot);
    others as the plain text of standard output."""
    ext = os.path.splitext(name)[1]
    if ext == '.csv':
        return [float(row['time']) for row in csv.DictReader(io.StringIO(doc))]
    if ext == '.svl':
        return [int(p.get('frame')) for p in ET.fromstring(doc).iter('point')]
    if ext == '.svg':
        return [float(c.get('cx')) for c in ET.fromstring(doc).iter('{http://www.w3.org/2000/svg}circle')]
    rows = [[float(v) for v in l.split('\t')] for l in doc.splitlines() if not l.startswith('# ')]
    assert all(len(row) == 3 for row in rows), name
    return rows


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

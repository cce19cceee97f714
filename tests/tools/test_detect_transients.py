#!/usr/bin/env python3
"""detect-transients end to end on generated recordings.  Usage: test_detect_transients.py BUILD_DIR"""
import csv, ctypes, io, json, os, re, shlex, signal, struct, subprocess, sys, tempfile, time, unittest
import xml.etree.ElementTree as ET
from pathlib import Path

BUILD = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else 'build'
TOOL, MAKER = (os.path.join(BUILD, 'tools', name) for name in ('detect-transients', 'make-example-recording'))
TOOL_ENV = dict(os.environ, PATH=os.path.dirname(TOOL) + os.pathsep + os.environ['PATH'])

SF = ctypes.CDLL('libsndfile.so.1')
SF.sf_open.restype, SF.sf_open.argtypes = ctypes.c_void_p, [ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p]
for f in (SF.sf_writef_int, SF.sf_writef_float, SF.sf_readf_int, SF.sf_readf_float):
    f.restype, f.argtypes = ctypes.c_int64, [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]
SF.sf_close.argtypes = [ctypes.c_void_p]


def outside_host_env(**extra):
    """A host not ours loads the sanitizer runtimes ahead of an instrumented plug-in; its leaks aren't ours."""
    preload = os.environ.get('SANITIZER_PRELOAD')
    sanitizer = dict(LD_PRELOAD=preload, ASAN_OPTIONS='detect_leaks=0') if preload else {}
    return dict(os.environ, **extra, **sanitizer)


def run(*args, **kw):
    return subprocess.run([TOOL, *args], capture_output=True, text=True, timeout=120, **kw)


def make(path, *args):
    subprocess.run([MAKER, path, *args], check=True, capture_output=True)


def write_sound(path, fmt, samples, rate=44100, channels=1):
    """Interleaved ints aligned to the top of 32 bits, or floats, in SF_FORMAT_* `fmt`."""
    info = ctypes.create_string_buffer(struct.pack('<qiiiii', 0, rate, channels, fmt, 0, 0), 32)  # SF_INFO
    sf = SF.sf_open(path.encode(), 0x20, info)  # SFM_WRITE
    floats, frames = bool(samples) and isinstance(samples[0], float), len(samples) // channels
    data = ((ctypes.c_float if floats else ctypes.c_int32) * len(samples))(*samples)
    write = SF.sf_writef_float if floats else SF.sf_writef_int
    assert sf and write(sf, data, frames) == frames and SF.sf_close(sf) == 0, path


def read_sound(path, floats):
    """Every sample of a mono file as libsndfile reads it; a header promising more fails."""
    info = ctypes.create_string_buffer(32)
    assert (sf := SF.sf_open(path.encode(), 0x10, info)), path  # SFM_READ
    frames = struct.unpack_from('<q', info)[0]
    data = ((ctypes.c_float if floats else ctypes.c_int32) * frames)()
    assert (SF.sf_readf_float if floats else SF.sf_readf_int)(sf, data, frames) == frames, path
    SF.sf_close(sf)
    return data[:]


def write_stereo(path):
    """Two example recordings as left and right; they and their mean, as float, hold each channel's transients."""
    mono = [os.path.join(tempfile.mkdtemp(prefix='stereo-'), name) for name in ('1.wav', '2.wav', 'mix.wav')]
    for seed, name in enumerate(mono[:2], 1):
        make(name, '--seconds', '4', '--seed', str(seed))
    pairs = list(zip(read_sound(mono[0], False), read_sound(mono[1], False)))
    write_sound(path, 0x10002, [x for pair in pairs for x in pair], channels=2)
    write_sound(mono[2], 0x10006, [(a + b) / 2 / 2147483648.0 for a, b in pairs])
    return mono


def write_flac(path):
    make(wav := os.path.join(tempfile.mkdtemp(prefix='flac-'), 'pcm.wav'), '--seconds', '4')
    write_sound(path, 0x170002, read_sound(wav, False))


def unknown_length(path):
    """The bytes a recorder streams before it knows the length: RIFF and data sizes 0xFFFFFFFF."""
    data = bytearray(Path(path).read_bytes())
    i = data.index(b'data')
    data[4:8] = data[i + 4:i + 8] = b'\xff' * 4
    return bytes(data)


MIDI_NOTES = '''import json, sys, mido; m = mido.MidiFile(sys.argv[1]); t = 0; notes = []
for msg in m:
    t += msg.time
    if msg.type == "note_on" and msg.velocity: notes.append([t, None, msg.note, msg.velocity, msg.channel])
    elif msg.type in ("note_off", "note_on"): next(n for n in notes if n[1] is None)[1] = t
print(json.dumps({"type": m.type, "ticks": m.ticks_per_beat, "notes": notes}))'''


def read_back(path, doc=None):
    """An output parsed as its extension says: what it says of the whole; time, frame, strength (or None) each."""
    if path.endswith('.mid'):  # through Debian's mido, an independent reader, in the system's Python
        r = subprocess.run(['/usr/bin/python3', '-c', MIDI_NOTES, path], capture_output=True, timeout=60)
        assert r.returncode == 0, r.stderr
        m = json.loads(r.stdout)  # per note: start, end in seconds, number, velocity, channel
        return ((m['type'], m['ticks'], {(n[2], n[4]) for n in m['notes']},
                 all(0 < end - start < 0.0505 for start, end, *_ in m['notes'])),  # 50 ms, or to the next
                [(start, None, (velocity - 1) / 63) for start, _, _, velocity, _ in m['notes']])
    doc = Path(path).read_text() if doc is None else doc
    if path.endswith('.json'):
        data = json.loads(doc)
        return data['sampleRate'], [(t['time'], t['frame'], t['strength']) for t in data['transients']]
    if path.endswith('.csv'):
        rows = csv.DictReader(line for line in io.StringIO(doc) if not line.startswith('#'))
        return None, [(float(r['time']), int(r['frame']), float(r['strength'])) for r in rows]
    if path.endswith('.svl'):
        root = ET.fromstring(doc)
        return (int(root.find('./data/model').get('sampleRate')),
                [(None, int(p.get('frame')), float(p.get('value'))) for p in root.iter('point')])
    if path.endswith('.svg'):
        return None, ET.fromstring(doc).findall('.//{http://www.w3.org/2000/svg}circle')
    rows = [line.split('\t') for line in doc.splitlines() if not line.startswith('#')]
    if path.endswith('.labels.txt'):  # Audacity: start, end, label
        return all(start == end for start, end, _ in rows), [(float(r[0]), None, float(r[2])) for r in rows]
    return None, [(float(t), float(frame), float(strength)) for t, frame, strength in rows]


class DetectTransients(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = work = tempfile.mkdtemp(prefix='detect-transients-')
        cls.drums, cls.other, cls.stereo = (os.path.join(work, n + '.wav') for n in ('drums', 'other', 'stereo'))
        make(cls.drums, '--seconds', '6')
        make(cls.other, '--seconds', '4', '--seed', '9', '--rate', '48000')
        cls.channels = write_stereo(cls.stereo)

    def text_rows(self, path, *args):
        r = run(path, *args)
        self.assertEqual(r.returncode, 0, r.stderr)
        return read_back('-', r.stdout)[1]

    def test_every_format_holds_the_plugins_transients(self):
        """The times any Vamp host gets from the plug-in, here vamp-simple-host, in every format."""
        wholes = {'labels': True, 'midi': (0, 500, {(38, 9)}, True)}  # end = start; note 38 on channel 10
        deltas = {'labels': (0, 0, 0.0006), 'midi': (0.0005, 0, 1 / 63)}  # strength to 3 decimals; ms, velocity
        env = outside_host_env(VAMP_PATH=os.path.join(BUILD, 'transient-detector'))
        for path, rate in ((self.drums, 44100), (self.other, 48000)):
            host = subprocess.run(['vamp-simple-host', 'transient-detector:TransientDetector', path],
                                  capture_output=True, text=True, env=env, timeout=120)
            self.assertEqual(host.returncode, 0, host.stderr)
            want = [float(l.split(':')[0]) for l in host.stdout.splitlines() if l.strip()[:1].isdigit()]
            rows = self.text_rows(path)
            self.assertEqual((len(rows), len(rows) > 5), (len(want), True))
            self.assertEqual([frame for _, frame, _ in rows], [round(t * rate) for t, _, _ in rows])
            for (t, _, strength), w in zip(rows, want):
                self.assertTrue(abs(t - w) <= 1e-6 and 0 <= strength <= 2, (t, w, strength))
            for fmt, ext in (('json', '.json'), ('csv', '.csv'), ('labels', '.labels.txt'), ('sv', '.svl'),
                             ('midi', '.mid')):
                with self.subTest(fmt, file=path):
                    out = os.path.join(self.dir, 'out' + ext)
                    args = [TOOL, path, '--format', fmt, '--midi-note', '38', '-q']
                    piped = subprocess.run(args, capture_output=True, timeout=120).stdout
                    self.assertEqual(subprocess.run(args + ['-o', out], timeout=120).returncode, 0)
                    self.assertEqual(Path(out).read_bytes(), piped)
                    whole, got = read_back(out)
                    self.assertEqual(whole, wholes.get(fmt, rate if fmt in ('json', 'sv') else None))
                    self.assertEqual(len(got), len(rows))
                    for values, row in zip(got, rows):
                        for v, r, delta in zip(values, row, deltas.get(fmt, (0, 0, 0))):
                            self.assertTrue(v is None or abs(v - r) <= delta, (values, row))

    def test_channels_and_parameters(self):
        for channel, mono in zip(('1', '2', None), self.channels):  # the mix: the mean of the channels
            self.assertEqual(self.text_rows(self.stereo, *(['--channel', channel] if channel else [])),
                             self.text_rows(mono), channel)
        r = run(self.stereo, '--channel', '3')
        self.assertEqual((r.returncode, "'%s' has 2 channels" % self.stereo in r.stderr), (1, True), r.stderr)
        self.assertLess(len(self.text_rows(self.drums, '--threshold', '90')), len(self.text_rows(self.drums)))
        dashed = os.path.join(self.dir, '-dashed.wav')
        os.link(self.drums, dashed) if not os.path.exists(dashed) else None
        r = run('--format=csv', '-j1', '--', '-dashed.wav', cwd=self.dir)  # -- ends the options
        self.assertEqual((r.returncode, r.stdout), (0, run(self.drums, '--format', 'csv').stdout), r.stderr)
        r = run(self.drums, '--block-size', '512', '--step-size', '32')
        self.assertEqual((r.returncode, 'a step size of 32 is below 64' in r.stderr), (0, True), r.stderr)

    def test_batch_makes_one_document_of_what_it_could_read(self):
        """In input order, on standard output or in the -o file; the bad inputs named, status 1."""
        missing, bad, empty = (os.path.join(self.dir, n) for n in ('missing.wav', 'bad.wav', 'empty.wav'))
        Path(bad).write_bytes(b'not audio at all')
        write_sound(empty, 0x10002, [])
        files_in = {'csv': lambda doc: [row['file'] for row in csv.DictReader(io.StringIO(doc))],
                    'json': lambda doc: [obj['file'] for obj in json.loads(doc)],
                    'text': lambda doc: [l[2:] for l in doc.splitlines() if l.startswith('# ')]}
        named = ("cannot read '" + missing, "cannot read '" + bad, "'%s' holds no audio" % empty)
        for fmt, files in files_in.items():
            with self.subTest(fmt):
                out = os.path.join(self.dir, 'batch.' + fmt)
                runs = [run(self.drums, missing, empty, self.other, bad, '-j', '3', '--format', fmt, *to_file)
                        for to_file in ([], ['-o', out])]
                for r in runs:
                    self.assertEqual((r.returncode, [m for m in named if m not in r.stderr]), (1, []), r.stderr)
                self.assertEqual((runs[1].stdout, Path(out).read_text()), ('', runs[0].stdout))
                self.assertEqual(list(dict.fromkeys(files(runs[0].stdout))), [self.drums, self.other])
        r = run(missing, bad, '--format', 'json', '-o', os.path.join(self.dir, 'nothing.json'))
        self.assertEqual((r.returncode, [n for n in os.listdir(self.dir) if 'nothing' in n]), (1, []))  # no file

    def test_option_errors(self):
        out, one_file = os.path.join(self.dir, 'refused.txt'), 'use --format csv or --format json'
        Path(long_line := os.path.join(self.dir, 'long-line.txt')).write_text(self.drums + '\n' + 'x' * 5000 + '\n')
        for args, words in ((['--threshold', '101'], '--threshold'), (['--noise-floor', 'loud'], 'not a number'),
                            (['--block-size', '0'], '0 is out of range (1 to 1048576)'),
                            (['--files-from', self.drums], 'holds a NUL byte'), (['--mirror=1'], 'takes no value'),
                            (['--files-from', long_line], 'line 2 is longer than 4096 bytes'), (['--shard', '4/4'], "--array=0-3"),
                            (['--step-size', '70000'], 'larger than the block size'), (['--bogus'], "'--bogus'"),
                            (['--format', 'xml'], "'xml'"), ([self.other, '--format', 'sv'], one_file),
                            ([], 'no input file'), (['--force'], '--force goes with --output-dir'),
                            ([self.other, '--format', 'labels', '-o', out], one_file),
                            ([self.other, '--plot', 'x.svg'], '--plot draws one file'),
                            (['--files-from', out], "cannot read the file list '%s'" % out),
                            (['--output-dir', self.dir, '--plot', 'x.svg'], '--plot writes one file'),
                            (['--pre-roll', '5'], '--pre-roll goes with --slice'),
                            ([os.path.join(self.dir, '.', 'drums.wav'), '--output-dir', out], 'would both write')):
            r = run(*(args + ([self.drums] if args else [])))
            self.assertEqual((r.returncode, r.stdout, words in r.stderr), (2, '', True), (args, r.stderr))
        self.assertFalse(os.path.exists(out))

    def test_failed_writes_leave_nothing(self):
        target = os.path.join(self.dir, 'no', 'such', 'dir', 'out.txt')
        r = run(self.drums, '-o', target)
        self.assertEqual((r.returncode, target in r.stderr, os.path.exists(target)), (1, True, False), r.stderr)
        with open('/dev/full', 'w') as full:
            r = subprocess.run([TOOL, self.drums], stdout=full, stderr=subprocess.PIPE, text=True, timeout=120)
        self.assertEqual((r.returncode, 'cannot write standard output' in r.stderr), (1, True), r.stderr)

    def test_stream_of_unknown_length(self):
        """Analysed to its real end, as from the file; stopped part-way, it leaves no output nor temporary."""
        stream, svg, seen = unknown_length(self.drums), os.path.join(self.dir, 'stream.svg'), []
        for args, data in (([self.drums], None), (['-'], stream)):
            r = subprocess.run([TOOL, *args, '--plot', svg], input=data, capture_output=True, timeout=120)
            self.assertEqual(r.returncode, 0, r.stderr)
            seen.append((r.stdout, Path(svg).read_text().replace(self.drums + ':', '-:')))  # the title names it
        self.assertEqual(seen[1], seen[0])
        partial = os.path.join(self.dir, 'interrupted.txt')
        temporaries = lambda: sorted(n for n in os.listdir(self.dir) if n.startswith('interrupted.') and n.endswith('.part'))
        with subprocess.Popen([TOOL, '-', '-o', partial, '--plot', partial + '.svg'], stdin=subprocess.PIPE) as p:
            p.stdin.write(stream[:100000])
            p.stdin.flush()
            deadline = time.monotonic() + 60
            while len(temporaries()) < 2 and time.monotonic() < deadline:  # both open from the start
                time.sleep(0.01)
            self.assertRegex(' '.join(temporaries()), r'^interrupted\.txt\.%d-\w+\.part interrupted\.txt\.svg\.%d-\w+\.part$'
                             % (p.pid, p.pid))
            p.send_signal(signal.SIGTERM)
            self.assertEqual(p.wait(timeout=60), -signal.SIGTERM)
        self.assertEqual((temporaries(), os.path.exists(partial), os.path.exists(partial + '.svg')), ([], False, False))

    def test_slices_join_to_the_input_sample_for_sample(self):
        make(source := os.path.join(self.dir, 'source.wav'), '--seconds', '3', '--rate', '48000')
        pcm = read_sound(source, False)
        deep = [x | ((i * 7919) & 0xFF00) for i, x in enumerate(pcm)]  # below 16 bits: a 16-bit passage shows
        as_float = [x / 2147483648.0 + (i % 7) * 1e-9 for i, x in enumerate(pcm)]
        for name, fmt, samples in (('pcm16.wav', 0x10002, pcm), ('pcm24.wav', 0x10003, deep),
                                   ('float.wav', 0x10006, as_float), ('flac24.flac', 0x170003, deep)):
            with self.subTest(name):
                path, out = os.path.join(self.dir, name), os.path.join(self.dir, 'cut-' + name)
                write_sound(path, fmt, samples, rate=48000)
                r = run(path, '--slice', out, '--pre-roll', '2')
                self.assertEqual(r.returncode, 0, r.stderr)
                frames = [int(frame) for _, frame, _ in read_back('-', r.stdout)[1]]
                pieces = [name.replace('.', '-%03d.' % k) for k in range(len(frames) + 1)]
                self.assertEqual(sorted(os.listdir(out)), pieces)
                parts = [read_sound(os.path.join(out, p), fmt == 0x10006) for p in pieces]
                self.assertEqual(sum(parts, []), read_sound(path, fmt == 0x10006))
                starts = [len(sum(parts[:k], [])) for k in range(1, len(parts))]
                self.assertEqual(starts, [f - 96 for f in frames])  # 2 ms at 48 kHz before each transient

    def test_collection_resumed_forced_sharded_or_spread_gives_the_one_run_outputs(self):
        work = tempfile.mkdtemp(prefix='collection-')
        files = [os.path.join(work, 'take%02d.wav' % i) for i in range(40)]
        for i, path in enumerate(files):
            make(path, '--seconds', '1.5', '--seed', str(i))
        Path(work, 'list.txt').write_text('\n'.join(files) + '\n')
        one, resumed, shards, spread = (os.path.join(work, n) for n in ('one', 'resumed', 'shards', 'parallel'))
        outputs = lambda folder: {str(p.relative_to(folder)): p.read_text() for p in Path(folder).rglob('*')}
        listing = ['--files-from', os.path.join(work, 'list.txt'), '-q']
        self.assertEqual(run(*listing, '--output-dir', one).returncode, 0)
        expected = outputs(one)
        self.assertEqual((len(expected), expected['take00.txt']), (40, run(files[0]).stdout))
        # A run stopped after six files, one of them lost, goes on where it stopped.
        listed = files[:6] + [os.path.join(work, 'missing.wav')]
        r = run('--files-from', '-', '--output-dir', resumed, input='\n'.join(listed))
        self.assertEqual((r.returncode, "cannot read '%s'" % listed[-1] in r.stderr), (1, True), r.stderr)
        self.assertRegex(r.stderr, r'6 done, 0 skipped, 1 failed; [0-9.]+ hours of audio')
        os.remove(os.path.join(resumed, 'take03.txt'))
        r = run('--files-from', '-', '--output-dir', resumed, input='\n'.join(files[:8]))
        self.assertEqual((r.returncode, r.stderr.count('3 done, 5 skipped, 0 failed')), (0, 1), r.stderr)
        self.assertEqual(outputs(resumed), {n: expected[n] for n in ('take%02d.txt' % i for i in range(8))})
        r = run(*files[:6], '--output-dir', resumed, '--force', '--format', 'json')
        self.assertEqual((r.stderr.count('6 done, 0 skipped'), len(outputs(resumed))), (1, 14), r.stderr)
        for k in range(4):
            r = run(*listing[:2], '--output-dir', shards, '--shard', '%d/4' % k)
            self.assertIn('10 done, 0 skipped', r.stderr)
        self.assertEqual(outputs(shards), expected)
        r = subprocess.run(['parallel', '--will-cite', '-j4', TOOL, '-q', '--output-dir', spread, '{}',
                            '::::', listing[1]], capture_output=True, text=True, timeout=300)
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(outputs(spread), expected)

    def test_install_where_hosts_look(self):
        prefix = tempfile.mkdtemp(prefix='install-')
        subprocess.run(['cmake', '--install', BUILD, '--prefix', prefix], check=True, capture_output=True)
        vamp = os.path.join(prefix, 'lib', 'vamp')
        listing = subprocess.run(['vamp-simple-host', '-l'], capture_output=True, text=True,
                                 env=outside_host_env(VAMP_PATH=vamp), timeout=60).stdout
        # Found where installed, its category read from the .cat beside it.
        self.assertRegex(listing, re.escape(os.path.join(vamp, 'transient-detector.so')) +
                         r':\n.*"TransientDetector" \[Kesmor GmbH\]\n\s*> Time > Onsets\n')
        # The installed host finds the installed plug-in with no VAMP_PATH.
        r = subprocess.run([os.path.join(prefix, 'bin', 'detect-transients'), self.drums], capture_output=True,
                           text=True, env={k: v for k, v in os.environ.items() if k != 'VAMP_PATH'}, timeout=60)
        self.assertEqual((r.returncode, r.stdout), (0, run(self.drums).stdout), r.stderr)
        # Sonic Visualiser asks every description for doap: properties: no layer when a prefix is not declared.
        n3 = os.path.join(vamp, 'transient-detector.n3')
        declared = set(re.findall(r'^@prefix\s+(\w*):', Path(n3).read_text(), re.M))
        self.assertFalse({'rdfs', 'xsd', 'vamp', 'plugbase', 'owl', 'dc', 'af', 'foaf', 'doap', 'cc'} - declared)
        r = subprocess.run(['rapper', '-q', '-i', 'turtle', '-o', 'ntriples', n3], capture_output=True, text=True)
        self.assertEqual(r.returncode, 0, r.stderr)
        local = lambda term: re.split(r'[#/]', term.strip('<>'))[-1]
        triples = {(local(s), local(p), o[1:o.index('"', 1)] if o.startswith('"') else local(o))
                   for s, p, o in (re.match(r'(\S+) (\S+) (.*) \.$', l).groups() for l in r.stdout.splitlines())}
        stated = {  # what the plug-in says, per subject below TransientDetector ('@'): property value; ...
            '': 'type Plugin; identifier TransientDetector; name Transient Detector; versionInfo 2; '
                'description Detect transients; rights 2013 Kesmor GmbH; input_domain TimeDomain; '
                'vamp_API_version api_version_2; parameter @_param_RaiseThreshold; parameter @_param_NoiseFloor; '
                'output @_output_transients',
            '_param_RaiseThreshold': 'identifier RaiseThreshold; title Attack Threshold; min_value 0; '
                                     'max_value 100; default_value 12',
            '_param_NoiseFloor': 'identifier NoiseFloor; title Noise Floor; min_value -100; max_value -20; '
                                 'default_value -60',
            '_output_transients': 'identifier transients; title Transients; bin_count 1; computes_event_type '
                                  'Onset; sample_type VariableSampleRate; description The locations of transients'}
        want = {('TransientDetector' + s, *pv.replace('@', 'TransientDetector').split(' ', 1))
                for s, props in stated.items() for pv in props.split('; ')}
        self.assertEqual(want - triples, set())


def pty_run(args, **kw):
    """Standard error on a terminal, as a user sees it: the return code, what it showed and the seconds it took."""
    import pty
    master, slave = pty.openpty()
    start = time.monotonic()
    p = subprocess.Popen([TOOL, *args], stderr=slave, stdout=subprocess.DEVNULL, **kw)
    os.close(slave)
    shown = b''
    while True:
        try:
            chunk = os.read(master, 65536)
        except OSError:
            break
        if not chunk:
            break
        shown += chunk
    os.close(master)
    return p.wait(timeout=300), shown.decode(errors='replace'), time.monotonic() - start


class KeepsTheUsersData(unittest.TestCase):
    """No input overwritten, no output half-written or silently missing, no result lost without an error."""

    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix='keeps-data-')
        cls.take = os.path.join(cls.dir, 'take.wav')
        make(cls.take, '--seconds', '3')
        cls.text = run(cls.take).stdout

    def folder(self, *files):
        """A fresh folder holding copies of the take under `files`."""
        work = tempfile.mkdtemp(dir=self.dir)
        for name in files:
            os.makedirs(os.path.dirname(os.path.join(work, name)), exist_ok=True)
            Path(work, name).write_bytes(Path(self.take).read_bytes())
        return work

    def test_no_output_lands_on_an_input(self):
        work = self.folder('a.wav', 'r/notes.txt', 'loop.wav', 'loop-001.wav', 'r/x/b.wav')
        os.symlink('a.wav', os.path.join(work, 'link.wav'))
        os.link(os.path.join(work, 'a.wav'), os.path.join(work, 'hard.wav'))
        for args, named in ((['a.wav', '-o', './a.wav'], ("-o './a.wav'", "'a.wav'")),
                            (['a.wav', '-o', 'link.wav'], ("-o 'link.wav'", "'a.wav'")),
                            (['./a.wav', '-o', 'hard.wav'], ("-o 'hard.wav'", "'./a.wav'")),
                            (['a.wav', '--plot', 'link.wav'], ("--plot 'link.wav'", "'a.wav'")),
                            (['r/notes.txt', 'a.wav', '--output-dir', 'r'], ("'r/notes.txt'",)),
                            (['loop.wav', 'loop-001.wav', '--slice', '.'], ("'loop.wav'", "'loop-001.wav'")),
                            (['a.wav', '-o', 'out.txt', '--plot', 'out.txt'], ('the same file',)),
                            (['a.wav', '-o', 'r'], ("'r' is a folder",)), (['a.wav', '--plot', '.'], ("'.' is a folder",))):
            with self.subTest(args):
                r = run(*args, cwd=work)
                self.assertEqual((r.returncode, r.stdout, [n for n in named if n not in r.stderr]), (2, '', []), r.stderr)
        self.assertEqual({n: Path(work, n).read_bytes() == Path(self.take).read_bytes() for n in os.listdir(work)
                          if n not in ('r', 'link.wav')}, dict.fromkeys(('a.wav', 'loop.wav', 'loop-001.wav', 'hard.wav'), True))
        self.assertTrue(os.path.islink(os.path.join(work, 'link.wav')))

    def test_links_are_followed_and_streams_written_in_place(self):
        work = self.folder()
        target, link, fifo = (os.path.join(work, n) for n in ('target.txt', 'link.txt', 'fifo'))
        os.symlink('target.txt', link)
        self.assertEqual(run(self.take, '-o', link).returncode, 0)  # a link to nothing yet: made where it ends
        Path(target).write_text('old')
        os.chmod(target, 0o640)
        self.assertEqual(run(self.take, '-o', link).returncode, 0)
        self.assertEqual((os.path.islink(link), Path(target).read_text(), os.stat(target).st_mode & 0o777),
                         (True, self.text, 0o640))
        os.mkfifo(fifo)
        with subprocess.Popen(['cat', fifo], stdout=subprocess.PIPE, text=True) as reader:
            r = run(self.take, '-o', fifo)
            self.assertEqual((r.returncode, reader.communicate(timeout=60)[0]), (0, self.text), r.stderr)
        self.assertEqual(run(self.take, '-o', '/dev/null').returncode, 0)
        import stat
        self.assertTrue(stat.S_ISFIFO(os.stat(fifo).st_mode) and stat.S_ISCHR(os.stat('/dev/null').st_mode))
        self.assertEqual(sorted(os.listdir(work)), ['fifo', 'link.txt', 'target.txt'])  # no temporary left

    def test_clashes_are_found_over_the_whole_list_and_between_runs(self):
        work = self.folder('a/take.wav', 'b/take.wav', 'b/deep/other.wav', 'c/take.wav')
        inputs = ['a/take.wav', 'b/take.wav', 'b/deep/other.wav']
        for k in range(3):  # every share refuses alike, even one that holds neither of the two
            r = run(*inputs, '--output-dir', 'r', '--shard', '%d/3' % k, cwd=work)
            self.assertEqual((r.returncode, "'a/take.wav' and 'b/take.wav' would both write" in r.stderr), (2, True), r.stderr)
        for fmt in ('text', 'json'):  # by the attribute, or by the file name a JSON document carries
            with self.subTest(fmt):
                out = os.path.join(work, 'r-' + fmt, 'take' + ('.txt' if fmt == 'text' else '.json'))
                self.assertEqual(run('a/take.wav', '--output-dir', 'r-' + fmt, '--format', fmt, cwd=work).returncode, 0)
                made = Path(out).read_bytes()
                if fmt == 'json':  # copied without its attributes, as cp and most tools copy
                    Path(out).unlink()
                    Path(out).write_bytes(made)
                for again, code, said in (('a/take.wav', 0, '0 done, 1 skipped, 0 failed'), ('./a/../a/take.wav', 0, '1 skipped'),
                                          ('b/take.wav', 1, "was made from '%s', not from 'b/take.wav'" %
                                           (os.path.join(work, 'a/take.wav') if fmt == 'text' else 'a/take.wav'))):
                    r = run(again, '--output-dir', 'r-' + fmt, '--format', fmt, cwd=work)
                    self.assertEqual((r.returncode, said in r.stderr, Path(out).read_bytes()), (code, True, made), r.stderr)
        # --relative-to: one command per file mirrors as one run does.
        self.assertEqual(run(*inputs, 'c/take.wav', '-q', '--output-dir', 'one', '--mirror', cwd=work).returncode, 0)
        for name in inputs + ['c/take.wav']:
            self.assertEqual(run(name, '-q', '--output-dir', 'each', '--relative-to', '.', cwd=work).returncode, 0)
        tree = lambda top: {str(p.relative_to(top)): p.read_bytes() for p in Path(top).rglob('*.txt')}
        self.assertEqual(tree(os.path.join(work, 'each')), tree(os.path.join(work, 'one')))
        self.assertEqual(len(tree(os.path.join(work, 'one'))), 4)
        r = run('a/take.wav', '--output-dir', 'x', '--relative-to', 'b', cwd=work)
        self.assertEqual((r.returncode, "'a/take.wav' is not inside --relative-to 'b'" in r.stderr), (2, True), r.stderr)
        r = run('a/take.wav', '--output-dir', 'x', '--shard', '3/4', cwd=work)
        self.assertEqual((r.returncode, 'shard 3/4 has no files' in r.stderr, os.path.exists(os.path.join(work, 'x'))),
                         (0, True, False), r.stderr)

    def test_runs_side_by_side_and_interrupted(self):
        work = self.folder(*('t%d.wav' % i for i in range(8)))
        both = [subprocess.Popen([TOOL, '-q', '--force', '--output-dir', 'r', *('t%d.wav' % i for i in range(8))], cwd=work,
                                 stderr=subprocess.PIPE, text=True) for _ in range(2)]
        self.assertEqual([(p.communicate(timeout=120)[1], p.returncode) for p in both], [('', 0)] * 2)
        self.assertEqual(sorted(os.listdir(os.path.join(work, 'r'))), ['t%d.txt' % i for i in range(8)])
        make(long := os.path.join(work, 'long.wav'), '--seconds', '600')
        import resource
        no_core = lambda: resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        for sig in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
            with self.subTest(sig), subprocess.Popen([TOOL, long, '-o', 'out.txt'], cwd=work, preexec_fn=no_core) as p:
                deadline = time.monotonic() + 60
                while not [n for n in os.listdir(work) if n.endswith('.part')] and time.monotonic() < deadline:
                    time.sleep(0.01)
                p.send_signal(sig)
                self.assertEqual(p.wait(timeout=60), -sig)
                self.assertEqual([n for n in os.listdir(work) if n.startswith('out.')], [])
        # A reader that stops early: the write error is reported and the batch ends.
        start = time.monotonic()
        r = subprocess.run(['bash', '-c', '"$0" "$@" | head -n 1; exit ${PIPESTATUS[0]}', TOOL, *[long] * 200], cwd=work,
                           capture_output=True, text=True, timeout=600)
        self.assertEqual((r.returncode, r.stdout, 'cannot write standard output: Broken pipe' in r.stderr),
                         (1, '# %s\n' % long, True), r.stderr)
        self.assertLess(time.monotonic() - start, 60)  # it stops: the whole list is 33 hours of audio

    def test_a_stream_prints_each_transient_as_found(self):
        make(live := os.path.join(self.folder(), 'live.wav'), '--seconds', '12')
        data = Path(live).read_bytes()
        with subprocess.Popen([TOOL, '-'], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as p:
            p.stdin.write(data[:len(data) // 2])  # six seconds of twelve, and the stream stays open
            p.stdin.flush()
            first = p.stdout.readline()
            p.send_signal(signal.SIGINT)  # what was printed stays printed
            self.assertEqual((first.decode(), p.wait(timeout=60)), (run(live).stdout.splitlines(True)[0], -signal.SIGINT))

    def test_names_that_are_not_utf8_or_hold_a_newline(self):
        work = self.folder()
        odd = os.path.join(work.encode(), b'caf\xe9 \xff\nline "quoted".wav')
        Path(os.fsdecode(odd)).write_bytes(Path(self.take).read_bytes())
        name = os.fsdecode(odd)
        for fmt in ('json', 'sv', 'text', 'csv'):
            with self.subTest(fmt):
                r = subprocess.run([os.fsencode(TOOL), odd, odd, '--format', fmt, '-o', b'out'] if fmt in ('text', 'csv')
                                   else [os.fsencode(TOOL), odd, '--format', fmt, '-o', b'out'], cwd=work, capture_output=True)
                self.assertEqual(r.returncode, 0, r.stderr)
                doc = Path(work, 'out').read_bytes()
                if fmt == 'json':
                    self.assertEqual(os.fsencode(json.loads(doc)['file']), odd)
                elif fmt == 'sv':
                    label = ET.fromstring(doc).find('./data/model').get('name')
                    self.assertEqual(label, 'Transients: ' + work + '/caf\\xe9 \\xff\nline "quoted".wav')
                elif fmt == 'text':
                    heads = [l for l in doc.split(b'\n') if l.startswith(b'# ')]
                    self.assertEqual(heads, [b'# ' + odd.replace(b'\n', b'\\n')] * 2)
                else:
                    self.assertEqual({os.fsencode(row['file']) for row in csv.DictReader(io.StringIO(doc.decode(errors='surrogateescape')))}, {odd})
        self.assertEqual(name.count('\n'), 1)

    def test_slice_numbers_keep_time_order(self):
        work = self.folder()
        make(long := os.path.join(work, 'long.wav'), '--seconds', '150')
        r = run(long, '--threshold', '0', '--slice', 'cut', cwd=work)
        self.assertEqual(r.returncode, 0, r.stderr)
        count = len(r.stdout.splitlines()) + 1
        names = sorted(os.listdir(os.path.join(work, 'cut')))
        self.assertGreater(count, 1000)
        self.assertEqual(names, ['long-%04d.wav' % k for k in range(count)])
        r = run('a/long.wav', 'b/long.wav', '--slice', 'cut', cwd=self.folder('a/long.wav', 'b/long.wav'))
        self.assertEqual((r.returncode, '--mirror' in r.stderr), (2, True), r.stderr)

    def test_progress_on_a_terminal(self):
        work = self.folder(*('t%d.wav' % i for i in range(6)))
        make(long := os.path.join(work, 'long.wav'), '--seconds', '720')
        code, shown, seconds = pty_run([long, '-o', os.devnull])
        bars = shown.count('%')
        self.assertEqual(code, 0)
        self.assertTrue(0 < bars <= 1 + 10 * seconds, (bars, seconds))  # at most ten redraws a second
        code, shown, _ = pty_run(['-j', '1', *('t%d.wav' % i for i in range(6)), '--format', 'csv', '-o', 'all.csv'], cwd=work)
        self.assertEqual(code, 0)
        self.assertRegex(shown, r'1/6 files, 0\.00\d hours of audio, \d+:\d\d left')
        self.assertTrue(shown.endswith('\r\x1b[K'), repr(shown[-40:]))  # and erased at the end


class LongSilence(unittest.TestCase):
    """The warning of silence long enough to freeze the detector's curves, and --dither."""

    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix='silence-')

    def train(self, name, rate, gap_frames, lead_frames=None, hits=2):
        path = os.path.join(self.dir, name)
        make(path, '--train', 'drums', '--rate', str(rate), '--hits', str(hits), '--gap', repr(gap_frames / rate),
             '--lead', repr((lead_frames if lead_frames is not None else rate // 4) / rate))
        return path

    def test_warned_from_the_measured_length_on(self):
        # (rate, floor, frames of silence between hits, frames before the first, warned); the first hit, a
        # kick, is cut off well above the floor, so the silence is its gap.
        cases = [(44100, -60, 15500, None, False), (44100, -60, 16500, None, True),
                 (96000, -60, 15500, None, False), (96000, -60, 16500, None, True),
                 (44100, -40, 6500, None, False), (44100, -40, 7500, None, True),
                 (48000, -80, 22500, None, False), (48000, -80, 23500, None, True),
                 (44100, -60, 100, 29000, False), (44100, -60, 100, 31000, True)]  # silence from the start
        for rate, floor, gap, lead, warned in cases:
            with self.subTest(rate=rate, floor=floor, gap=gap, lead=lead):
                path = self.train(f'{rate}-{-floor}-{gap}-{lead}.wav', rate, gap, lead)
                r = run(path, '--noise-floor', str(floor))
                self.assertEqual(r.returncode, 0, r.stderr)
                self.assertEqual('may be missed' in r.stderr, warned, r.stderr)

    def test_the_warning_says_where_and_what_to_do(self):
        path = self.train('gaps.wav', 44100, 44100, hits=3)
        quiet = self.train('short.wav', 44100, 4410, hits=3)
        alone = self.train('alone.wav', 44100, 10 * 44100, hits=1)  # silence after the last hit costs nothing
        for args in ((path,), (path, '-q')):
            r = run(*args)
            self.assertEqual(r.returncode, 0, r.stderr)
            line, = r.stderr.splitlines()
            self.assertRegex(line, r"^detect-transients: warning: '.*gaps\.wav': 2\.0 s of silence .* in 2 stretches "
                                   r"of 0\.36 s or more; transients after 1\.70 s may be missed.*--dither")
        r = run(path, quiet, alone, '-q', '--format', 'csv')
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(len(r.stderr.splitlines()), 2, r.stderr)
        self.assertIn('1 of 3 files have long silence', r.stderr)
        dithered = run(path, '--dither')
        self.assertEqual((dithered.returncode, dithered.stderr), (0, ''))

    def test_dither_finds_the_hits_and_changes_only_what_is_analysed(self):
        path = self.train('lost.wav', 48000, 2 * 48000, hits=4)
        plain, dithered = (read_back('-', run(path, *args).stdout)[1] for args in ((), ('--dither',)))
        self.assertEqual(len(plain), 1)
        self.assertEqual(len(dithered), 4)
        # The same at any block size (the strengths to the rounding of the filter's blocks): the noise
        # belongs to the frame, not to the read.
        self.assertEqual([f for _, f, _ in read_back('-', run(path, '--dither', '--block-size', '1000').stdout)[1]],
                         [f for _, f, _ in dithered])
        louder = read_back('-', run(path, '--dither=3').stdout)[1]
        self.assertNotEqual(louder, dithered)
        r = run(path, '--dither', '-3', '--format', 'json', '--slice', os.path.join(self.dir, 'cut'))
        self.assertEqual(r.returncode, 0, r.stderr)
        document = json.loads(r.stdout)
        self.assertEqual((document['ditherDb'], len(document['transients'])), (-3, 4))
        self.assertNotIn('ditherDb', json.loads(run(path, '--format', 'json').stdout))
        pieces = sorted(os.listdir(os.path.join(self.dir, 'cut')))
        self.assertEqual(len(pieces), 5)
        joined = sum((read_sound(os.path.join(self.dir, 'cut', p), False) for p in pieces), [])
        self.assertEqual(joined, read_sound(path, False))  # the original audio, not the dithered
        for bad in ('--dither=41', '--dither=-31', '--dither=loud'):
            self.assertEqual(run(path, bad).returncode, 2, bad)


class Provenance(unittest.TestCase):
    """What a run records of itself: versions, parameters, block and step, as the plug-in got them."""

    @classmethod
    def setUpClass(cls):
        cls.path = os.path.join(tempfile.mkdtemp(prefix='provenance-'), 'take.wav')
        make(cls.path, '--seconds', '3')
        cls.version = re.search(r'^CMAKE_PROJECT_VERSION:\w+=(.*)$', Path(BUILD, 'CMakeCache.txt').read_text(),
                                re.M).group(1)

    def test_json_records_the_run(self):
        for args, parameters, block, step in (
                ([], {'RaiseThreshold': 12, 'NoiseFloor': -60}, 65536, 65536),
                (['--threshold', '0.1', '--noise-floor', '-47.25', '--block-size', '4096', '--step-size', '1024'],
                 {'RaiseThreshold': 0.1, 'NoiseFloor': -47.25}, 4096, 1024)):
            with self.subTest(args=args):
                r = run(self.path, '--format', 'json', *args)
                self.assertEqual(json.loads(r.stdout)['analysis'], {
                    'tool': 'detect-transients ' + self.version, 'plugin': 'transient-detector:TransientDetector',
                    'pluginVersion': 2, 'parameters': parameters, 'blockSize': block, 'stepSize': step})

    def test_comment_line_of_text_and_csv(self):
        line = ('detect-transients %s, transient-detector:TransientDetector version 2, RaiseThreshold 30, '
                'NoiseFloor -60, block size 8192, step size 8192' % self.version)
        for args, first, second in (
                (['--format', 'csv'], '# ' + line, 'time,frame,strength'),
                (['--format', 'csv', self.path], '# ' + line, 'file,time,frame,strength'),
                ([], '## ' + line, None),
                ([self.path, '--dither'], '## ' + line + ', dither -1 dB above the noise floor', '# ' + self.path)):
            with self.subTest(args=args):
                r = run(self.path, '--provenance', '--threshold', '30', '--block-size', '8192', *args)
                lines = r.stdout.splitlines()
                self.assertEqual(lines[0], first)
                if second:
                    self.assertEqual(lines[1], second)
                plain = run(self.path, '--threshold', '30', '--block-size', '8192', *args).stdout
                self.assertEqual(r.stdout, first + '\n' + plain)  # nothing else changes
        for fmt in ('labels', 'sv', 'midi'):
            self.assertEqual(run(self.path, '--provenance', '--format', fmt).returncode, 2, fmt)


class ReadmeExamples(unittest.TestCase):
    """The README's commands, run by the shell as written in a folder holding what they name."""

    def blocks(self, start='', end=None):
        text = Path(__file__).resolve().parents[2].joinpath('README.md').read_text()
        text = text[text.index(start):text.index(end) if end else None].replace('\\\n', ' ')
        return re.findall(r'^```sh\n(.*?)^```', text, re.S | re.M)

    def shell(self, script, work, env):
        r = subprocess.run(['bash', '-c', script], cwd=work, env=env, capture_output=True, text=True, timeout=120)
        self.assertEqual(r.returncode, 0, r.stderr)
        return r.stdout

    def test_commands_run_as_written(self):
        """detect-transients' outputs parse; vamp-simple-host's result lines take the form the comment quotes."""
        # The collection examples need a list and run as whole blocks: the next test.
        lines = [l for b in self.blocks() for l in b.splitlines()
                 if l.startswith('detect-transients ') and '--files-from' not in l or ' vamp-simple-host ' in l]
        self.assertEqual(sum(' vamp-simple-host ' in l for l in lines), 3)
        work = tempfile.mkdtemp(prefix='readme-')
        os.symlink(BUILD, os.path.join(work, 'build'))
        words = {line: shlex.split(line, comments=True) for line in lines}
        for name in {w for ws in words.values() for w in ws if re.fullmatch(r'[\w-]+\.(wav|flac)', w)}:
            write = write_stereo if name.startswith('stereo') else write_flac if name.endswith('.flac') else make
            write(os.path.join(work, name))
        for line, ws in words.items():
            with self.subTest(line):
                if ' vamp-simple-host ' in line:  # -l lists it; the others print lines of the form quoted
                    shown = re.search(r'"(.*?)"', line)
                    self.assertRegex(self.shell(line, work, outside_host_env()), re.compile(
                        '^%s *$' % re.sub(r'\d+(\.\d+)?', r'\\d+(\\.\\d+)?', shown.group(1)) if shown
                        else 'Transient Detector, "TransientDetector"', re.M))
                    continue
                stdout = self.shell(line, work, TOOL_ENV)
                if '--version' in ws:
                    self.assertRegex(stdout, r'^detect-transients \d+\.\d+\.\d+\nplug-in ')
                    continue
                outputs = [os.path.join(work, ws[i + 1]) for i, w in enumerate(ws) if w in ('-o', '--plot')]
                for path in outputs or ['-']:
                    self.assertGreater(len(read_back(path, stdout if path == '-' else None)[1]), 0, path)
        self.assertEqual([n for n in os.listdir(work) if n.endswith('.part')], [])

    def test_collection_examples_run_as_written(self):
        """Those that run on one machine, each block as one script, over a small FLAC corpus."""
        blocks = [b for b in self.blocks('### Collections', '### Files, errors') if '--sshlogin' not in b]
        self.assertEqual(len(blocks), 2)
        work = tempfile.mkdtemp(prefix='readme-collection-')
        for name in ('corpus/a/one.flac', 'corpus/b/two.flac'):
            os.makedirs(os.path.join(work, os.path.dirname(name)), exist_ok=True)
            write_flac(os.path.join(work, name))
        for block in blocks:
            with self.subTest(block):
                self.shell(block, work, dict(TOOL_ENV, SLURM_ARRAY_TASK_ID='1', SLURM_ARRAY_TASK_COUNT='2'))
        for name in ('results/a/one.json', 'results/b/two.json'):
            self.assertGreater(len(read_back(os.path.join(work, name))[1]), 0)
        # Shard 1 of 2 took the list's second file, mirrored as the whole list is.
        second = Path(Path(work, 'list.txt').read_text().split()[1])
        self.assertTrue(Path(work, 'results', second.parent.name, second.stem + '.txt').exists())


if __name__ == '__main__':
    unittest.main(verbosity=2)

#!/usr/bin/env python3
"""detect-transients on odd and broken input files, and its blocks against a host of our own.

Usage: test_input_files.py BUILD_DIR"""
import ctypes, json, math, os, re, struct, subprocess, sys, tempfile, unittest
from pathlib import Path

from test_detect_transients import (BUILD, SF, TOOL, make, outside_host_env, read_sound, run, unknown_length,
                                    write_sound)

PLUGIN = os.path.join(BUILD, 'transient-detector', 'transient-detector.so')
FLOAT, PCM16, AU16, CAF16 = 0x10006, 0x10002, 0x30002, 0x180002  # SF_FORMAT_*


def read_frames(path):
    """The rate, channel count and interleaved samples of a file, as libsndfile gives them as floats."""
    info = ctypes.create_string_buffer(32)
    assert (sf := SF.sf_open(path.encode(), 0x10, info)), path  # SFM_READ
    frames, rate, channels = struct.unpack_from('<qii', info)  # SF_INFO
    data = (ctypes.c_float * (frames * channels))()
    assert SF.sf_readf_float(sf, data, frames) == frames, path
    SF.sf_close(sf)
    return rate, channels, data[:]


class Feature(ctypes.Structure):
    _fields_ = [('hasTimestamp', ctypes.c_int), ('sec', ctypes.c_int), ('nsec', ctypes.c_int),
                ('valueCount', ctypes.c_uint), ('values', ctypes.POINTER(ctypes.c_float)), ('label', ctypes.c_char_p)]


class FeatureList(ctypes.Structure):
    _fields_ = [('featureCount', ctypes.c_uint), ('features', ctypes.POINTER(Feature))]


F = ctypes.CFUNCTYPE
Features = ctypes.POINTER(FeatureList)


class Descriptor(ctypes.Structure):  # vamp.h's VampPluginDescriptor; what is not called stays a bare pointer
    _fields_ = ([('api', ctypes.c_uint)] + [(n, ctypes.c_char_p) for n in ('identifier', 'name', 'description',
                                                                        'maker')] +
                [('version', ctypes.c_int), ('copyright', ctypes.c_char_p), ('parameterCount', ctypes.c_uint),
                 ('parameters', ctypes.c_void_p), ('programCount', ctypes.c_uint), ('programs', ctypes.c_void_p),
                 ('inputDomain', ctypes.c_int), ('instantiate', F(ctypes.c_void_p, ctypes.c_void_p, ctypes.c_float)),
                 ('cleanup', F(None, ctypes.c_void_p)),
                 ('initialise', F(ctypes.c_int, ctypes.c_void_p, ctypes.c_uint, ctypes.c_uint, ctypes.c_uint))] +
                [('unused%d' % i, ctypes.c_void_p) for i in range(12)] +
                [('process', F(Features, ctypes.c_void_p, ctypes.POINTER(ctypes.POINTER(ctypes.c_float)),
                               ctypes.c_int, ctypes.c_int)),
                 ('getRemainingFeatures', F(Features, ctypes.c_void_p)), ('releaseFeatureSet', F(None, Features))])


def reference(path, block, step, channel):
    """The text lines the plug-in's features make when a host hands it `path` as the README says:
    non-finite samples taken as 0, then the mean of the channels (summed in double from 0, rounded
    to float) or one channel; a block every `step` frames while one starts before the end, zeros
    past it; each block's time stamp its first frame, in whole nanoseconds rounded as the SDK does."""
    rate, channels, data = read_frames(path)
    data = [x if math.isfinite(x) else 0.0 for x in data]
    mono = data[channel - 1::channels] if channel else [mean(data[i:i + channels])
                                                         for i in range(0, len(data), channels)]
    lib = ctypes.CDLL(PLUGIN)
    lib.vampGetPluginDescriptor.restype = ctypes.POINTER(Descriptor)
    d = lib.vampGetPluginDescriptor(2, 0)
    assert d.contents.identifier == b'TransientDetector'
    handle = d.contents.instantiate(d, rate)
    assert d.contents.initialise(handle, 1, step, block)
    lines = []

    def take(fs):  # a list per output, or null for none
        for k in range(fs[0].featureCount if fs else 0):
            f = fs[0].features[k]
            t = f.sec + f.nsec / 1e9
            lines.append('%.6f\t%d\t%.6f' % (t, int(t * rate + 0.5), f.values[0]))
        if fs:
            d.contents.releaseFeatureSet(fs)

    for start in range(0, len(mono), step):
        samples = (ctypes.c_float * block)(*mono[start:start + block])
        sec, frame = divmod(start, rate)
        take(d.contents.process(handle, (ctypes.POINTER(ctypes.c_float) * 1)(samples), sec,
                                int(frame * 1000000.0 / rate * 1000.0 + 0.5)))
    take(d.contents.getRemainingFeatures(handle))
    d.contents.cleanup(handle)
    return lines


def mean(values):
    total = 0.0
    for v in values:
        total += v
    return total / len(values)


def floats(path):
    return [x / 2147483648.0 for x in read_sound(path, False)]


def write_interleaved(path, channels, fmt=FLOAT, rate=44100):
    write_sound(path, fmt, [x for frame in zip(*channels) for x in frame], rate=rate, channels=len(channels))


def patched(path, fmt, at, size):
    """A one-second file of `fmt` whose header gives a sample rate of 0: `size` bytes at `at` zeroed."""
    write_sound(path, fmt, [1 << 24] * 44100)
    data = bytearray(Path(path).read_bytes())
    data[at:at + size] = bytes(size)
    Path(path).write_bytes(data)


class InputFiles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix='input-files-')
        sources = [os.path.join(cls.dir, 'seed%d.wav' % seed) for seed in (1, 2, 3)]
        for seed, path in enumerate(sources, 1):
            make(path, '--seconds', '6' if seed < 3 else '3', '--seed', str(seed))
        cls.mono, _, cls.short = sources
        cls.left, cls.right = (floats(p) for p in sources[:2])
        cls.stereo = os.path.join(cls.dir, 'stereo.wav')
        write_interleaved(cls.stereo, [read_sound(p, False) for p in sources[:2]], PCM16)

    def path(self, name):
        return os.path.join(self.dir, name)

    def lines(self, path, *args, stdin=None):
        r = subprocess.run([TOOL, '-q', *args] + ([path] if stdin is None else ['-']), capture_output=True,
                           input=stdin, timeout=120)
        self.assertEqual(r.returncode, 0, r.stderr)
        return r.stdout.decode().splitlines(), r.stderr.decode()

    def test_non_finite_samples_are_taken_as_zero(self):
        """The transients of the file with 0 in their places, one warning naming the count; a finite plot."""
        nan, inf = float('nan'), float('inf')
        # In the quiet between the first hits, where one NaN once made a false attack and hid the next.
        bad = {13000: nan, 13001: nan, 13002: inf, 26000: -inf, 40000: nan}
        cases = (  # name, channels' bad samples, arguments, samples counted
            ('mono', [bad], [], 5),
            ('one', [{30000: nan}], [], 1),
            ('stereo-mix', [bad, {13001: inf, 50000: nan}], [], 7),
            ('stereo-right', [bad, {13001: inf, 50000: nan}], ['--channel', '2', '--block-size', '4096'], 2))
        for name, damage, args, count in cases:
            with self.subTest(name):
                clean = [list(c) for c in (self.left, self.right)[:len(damage)]]
                broken = [list(c) for c in clean]
                for channel, places in zip(broken, damage):
                    for i, v in places.items():
                        channel[i] = v
                for c, places in zip(clean, damage):
                    for i in places:
                        c[i] = 0.0
                paths = self.path(name + '-bad.wav'), self.path(name + '-zero.wav')
                write_interleaved(paths[0], broken)
                write_interleaved(paths[1], clean)
                svg = self.path(name + '.svg')
                got, stderr = self.lines(paths[0], *args, '--plot', svg)
                self.assertEqual(got, self.lines(paths[1], *args)[0])
                words = ("'%s': %d samples were not numbers (NaN or infinite) and were taken as 0" if count > 1 else
                         "'%s': %d sample was not a number (NaN or infinite) and was taken as 0") % (paths[0], count)
                said = [line for line in stderr.splitlines() if 'NaN' in line]
                self.assertEqual((len(said), words in said[0], 'warning' in said[0].lower()), (1, True, True), stderr)
                self.assertIsNone(re.search(r'nan|inf', Path(svg).read_text(), re.I))

    def test_bad_inputs_are_named_and_the_others_analysed(self):
        folder = self.path('folder.wav')
        os.makedirs(folder, exist_ok=True)
        Path(self.path('empty.wav')).write_bytes(b'')
        patched(self.path('rate0.wav'), PCM16, 24, 4)  # fmt chunk: tag 2, channels 2, rate 4 bytes
        patched(self.path('rate0.au'), AU16, 16, 4)
        patched(self.path('rate0.caf'), CAF16, 20, 8)  # desc chunk: the rate as a double
        expected = {self.path('missing.wav'): "cannot read '%s': no such file",
                    folder: "'%s' is a folder, not a recording",
                    self.path('empty.wav'): "'%s' is empty (0 bytes)",
                    self.path('rate0.wav'): "'%s' gives a sample rate of 0",
                    self.path('rate0.au'): "'%s' gives a sample rate of 0",
                    self.path('rate0.caf'): "'%s' gives a sample rate of 0"}
        bad = list(expected)
        r = run(*bad[:3], self.short, *bad[3:], '--format', 'json', '-j', '2')
        self.assertEqual(r.returncode, 1, r.stderr)
        for path, words in expected.items():
            self.assertIn('detect-transients: ' + words % path + '\n', r.stderr)
        alone = json.loads(run(self.short, '--format', 'json').stdout)
        self.assertEqual(json.loads(r.stdout), [alone])

    def test_sample_rates_outside_the_detectors_range_are_warned_of(self):
        for rate, warned in ((4000, True), (8000, False), (192000, False), (200000, True)):
            with self.subTest(rate):
                path = self.path('rate%d.wav' % rate)
                write_sound(path, PCM16, [(i % 2000 < 8) << 29 for i in range(rate)], rate=rate)
                _, stderr = self.lines(path)
                words = "'%s': a sample rate of %d Hz is outside 8 to 192 kHz, where the detector is meant to work"
                self.assertEqual(words % (path, rate) in stderr, warned, stderr)

    def test_blocks_are_those_of_a_host_of_our_own(self):
        """Every block and step size, mix, channel and stream: the features our own host gets from the plug-in."""
        nans = self.path('three.wav')
        third = [-x for x in self.left]
        third[20000:20010] = [float('nan')] * 10
        write_interleaved(nans, [self.left, self.right, third])
        cases = (  # file, block, step, channel, through standard input (a stream of unknown length)
            (self.mono, 65536, 65536, 0, False), (self.mono, 4096, 1024, 0, False),
            (self.mono, 1000, 333, 0, False), (self.mono, 64, 64, 0, False), (self.mono, 8192, 3000, 0, True),
            (self.short, 32, 16, 0, False), (self.short, 16, 16, 0, False),
            (self.stereo, 65536, 65536, 0, False), (self.stereo, 2048, 512, 0, False),
            (self.stereo, 1024, 1024, 2, False), (nans, 4096, 4096, 0, False), (nans, 4096, 2048, 3, True))
        host = subprocess.run([sys.executable, __file__, BUILD, 'reference', json.dumps([c[:4] for c in cases])],
                              capture_output=True, text=True, env=outside_host_env(), timeout=600)
        self.assertEqual(host.returncode, 0, host.stderr)
        for (path, block, step, channel, stream), want in zip(cases, json.loads(host.stdout)):
            with self.subTest(file=os.path.basename(path), block=block, step=step, channel=channel, stream=stream):
                args = ['--block-size', str(block), '--step-size', str(step)] + (['--channel', str(channel)]
                                                                                  if channel else [])
                got, _ = self.lines(path, *args, stdin=unknown_length(path) if stream else None)
                self.assertGreater(len(want), 0)
                self.assertEqual(got, want)


if __name__ == '__main__':
    if sys.argv[1:2] == ['reference']:  # the reference host, in a process of its own: see outside_host_env
        print(json.dumps([reference(*case) for case in json.loads(sys.argv[2])]))
        sys.exit(0)
    unittest.main(verbosity=2)

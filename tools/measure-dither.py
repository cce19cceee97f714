#!/usr/bin/env python3
"""How well detect-transients finds the hits of trains with silent gaps, with and without --dither.

usage: measure-dither.py BUILD_DIR [--levels DB,DB,...] [--check] [--work DIR] [--jobs N]

Makes, with make-example-recording, pluck and drum trains whose hits are followed by gaps
of 0.5, 2 and 10 s of digital silence, at 44.1, 48 and 96 kHz, the same with white noise
at -60 dB throughout instead of silence, and the example drum recording. For each file it
prints the hits found without dither and with --dither at each level: recall and precision,
a hit counting as found when a transient lies within 50 ms of it, each transient matching
one hit at most. --check (the default level alone) fails unless, with dither, recall and
precision are 0.95 or more on every file and the F-measure of the files without silence
drops by no more than 0.01, and unless, without it, the transients are those that
vamp-simple-host gets from the plug-in.
"""
import argparse, csv, io, math, os, subprocess, sys
from pathlib import Path

TOLERANCE = 0.050
KINDS, GAPS, RATES, NOISES = ('pluck', 'drums'), (0.5, 2.0, 10.0), (44100, 48000, 96000), (None, -60)
LENGTHS = {'pluck': (0.4,), 'drums': (0.45, 0.3, 0.08)}  # as make-example-recording plays them


def material():
    """(name, make-example-recording arguments), the trains first, then the example."""
    for noise in NOISES:
        for kind in KINDS:
            for gap in GAPS:
                for rate in RATES:
                    period = sum(LENGTHS[kind]) / len(LENGTHS[kind]) + gap
                    hits = max(20, math.ceil(60 / period))  # a minute at least, and 20 hits
                    name = f'{kind}-gap{gap:g}-{rate // 1000}k' + (f'-noise{-noise}' if noise else '')
                    args = ['--train', kind, '--gap', str(gap), '--hits', str(hits), '--rate', str(rate)]
                    yield name, args + (['--noise', str(noise)] if noise else [])
    yield 'example-drums', []


def make(build, work):
    """Writes each file once (again when its arguments change); returns name -> (path, hit times)."""
    files = {}
    for name, args in material():
        wav, hits, made = (work / (name + ext) for ext in ('.wav', '.hits', '.args'))
        if not (wav.exists() and made.exists() and made.read_text() == ' '.join(args)):
            r = subprocess.run([str(build / 'tools' / 'make-example-recording'), str(wav), *args],
                               capture_output=True, text=True, check=True)
            hits.write_text(r.stdout)
            made.write_text(' '.join(args))
        times = [float(l.split()[0]) for l in hits.read_text().splitlines() if l and not l.startswith('#')]
        files[name] = (wav, times)
    return files


def detect(build, paths, jobs, *options):
    """The transients of each file, (time, strength) each, from one run over all of them."""
    r = subprocess.run([str(build / 'tools' / 'detect-transients'), '--format', 'csv', '-q', '-j', str(jobs),
                        *options, *map(str, paths)], capture_output=True, text=True)
    if r.returncode != 0:
        sys.exit(f'measure-dither: detect-transients failed: {r.stderr}')
    found = {str(p): [] for p in paths}
    for row in csv.DictReader(io.StringIO(r.stdout)):
        found[row['file']].append((float(row['time']), float(row['strength'])))
    return found


def match(truth, found):
    """Hits matched: the closest pairs first, each hit and each transient used once."""
    pairs = sorted((abs(t - f), i, j) for i, t in enumerate(truth) for j, f in enumerate(found)
                   if abs(t - f) <= TOLERANCE)
    hits, transients, n = set(), set(), 0
    for _, i, j in pairs:
        if i not in hits and j not in transients:
            hits.add(i), transients.add(j)
            n += 1
    return n


def scores(truth, found):
    """Recall, precision, F-measure, and the hits matched."""
    n = match(truth, [t for t, _ in found])
    recall = n / len(truth) if truth else 1.0
    precision = n / len(found) if found else (1.0 if not truth else 0.0)
    f = 2 * recall * precision / (recall + precision) if recall + precision else 0.0
    return recall, precision, f, n


def simple_host(build, path):
    env = dict(os.environ, VAMP_PATH=str(build / 'transient-detector'))
    r = subprocess.run(['vamp-simple-host', 'transient-detector:TransientDetector', str(path)],
                       capture_output=True, text=True, env=env)
    if r.returncode != 0:
        sys.exit(f'measure-dither: vamp-simple-host failed on {path}: {r.stderr}')
    return [(float(l.split(':')[0]), float(l.split(':')[1])) for l in r.stdout.splitlines() if l.strip()[:1].isdigit()]


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument('build', type=Path)
    p.add_argument('--levels', default='default', help='dither levels in dB above the noise floor')
    p.add_argument('--check', action='store_true')
    p.add_argument('--work', type=Path)
    p.add_argument('--jobs', type=int, default=os.cpu_count())
    a = p.parse_args()
    build = a.build.resolve()
    work = (a.work or build / 'dither-material').resolve()
    work.mkdir(parents=True, exist_ok=True)
    files = make(build, work)
    paths = [path for path, _ in files.values()]
    levels = [None if l == 'default' else float(l) for l in a.levels.split(',')]
    runs = [('none', detect(build, paths, a.jobs))]
    for level in levels:
        runs.append((f'{level:g} dB' if level is not None else 'default',
                     detect(build, paths, a.jobs, '--dither' if level is None else f'--dither={level:g}')))

    print(f'{"file":28} {"hits":>5}' + ''.join(f' | {name:>17}' for name, _ in runs))
    print(f'{"":28} {"":>5}' + ' | recall prec.    F' * len(runs))
    failures = []
    worst = {name: [1.0, 1.0] for name, _ in runs}
    wrong = {name: [0, 0] for name, _ in runs}  # hits missed, transients that match none
    for name, (path, truth) in files.items():
        line = f'{name:28} {len(truth):5}'
        per_run = [scores(truth, found[str(path)]) for _, found in runs]
        for (run, found), (r, pr, f, n) in zip(runs, per_run):
            line += f' | {r:6.3f} {pr:5.3f} {f:5.3f}'
            worst[run] = [min(worst[run][0], r), min(worst[run][1], pr)]
            wrong[run] = [wrong[run][0] + len(truth) - n, wrong[run][1] + len(found[str(path)]) - n]
        if a.check:
            r, pr, f, _ = per_run[1]
            if r < 0.95 or pr < 0.95:
                failures.append(f'{name}: with --dither recall {r:.3f}, precision {pr:.3f} (0.95 wanted)')
            before = per_run[0][2]
            if ('noise' in name or name == 'example-drums') and f < before - 0.01:
                failures.append(f'{name}: --dither lowers the F-measure from {before:.3f} to {f:.3f}')
        print(line)
    print(f'{"least recall, precision":34}' + ''.join(f' | {w[0]:6.3f} {w[1]:5.3f}      ' for w in worst.values()))
    print(f'{"hits missed, false transients":34}' + ''.join(f' | {w[0]:6} {w[1]:5}      ' for w in wrong.values()))

    if a.check:
        for name, (path, _) in files.items():
            host, ours = simple_host(build, path), runs[0][1][str(path)]
            same = len(host) == len(ours) and all(abs(h[0] - o[0]) <= 1e-6 and abs(h[1] - o[1]) <= 1e-5
                                                  for h, o in zip(host, ours))
            if not same:
                failures.append(f'{name}: without --dither {len(ours)} transients, vamp-simple-host {len(host)}')
        for f in failures:
            print('FAILED: ' + f, file=sys.stderr)
        print('measure-dither: ' + ('failed' if failures else 'every file as wanted'), file=sys.stderr)
        return 1 if failures else 0
    return 0


if __name__ == '__main__':
    sys.exit(main())

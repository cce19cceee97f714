#!/usr/bin/env python3
"""The product as installed: one version everywhere, the plug-in found where it was put, the
libraries built alone and used from an install prefix.  Usage: test_install.py BUILD_DIR"""
import os, re, shutil, subprocess, sys, tempfile, unittest
from pathlib import Path

BUILD = Path(sys.argv.pop(1) if len(sys.argv) > 1 else 'build').resolve()
TOP = Path(__file__).resolve().parents[2]
README = (TOP / 'README.md').read_text()
MULTIARCH = 'x86_64-linux-gnu'


def cache(name):
    return re.search(r'^%s:\w+=(.*)$' % name, (BUILD / 'CMakeCache.txt').read_text(), re.M).group(1)


def sh(*args, **kw):
    r = subprocess.run(args, capture_output=True, text=True, timeout=600, **kw)
    if r.returncode != 0:
        raise AssertionError('%s failed (%d):\n%s%s' % (' '.join(map(str, args)), r.returncode, r.stdout, r.stderr))
    return r.stdout


def readme_block(language, containing):
    return next(b for b in re.findall(r'^```%s\n(.*?)^```' % language, README, re.S | re.M) if containing in b)


def install(prefix):
    sh('cmake', '--install', BUILD, '--prefix', prefix)
    return Path(prefix)


class OneVersion(unittest.TestCase):
    def test_every_place_names_the_project_version(self):
        version = cache('CMAKE_PROJECT_VERSION')
        major = version.split('.')[0]
        tool = subprocess.run([BUILD / 'tools' / 'detect-transients', '--version'], capture_output=True, text=True)
        self.assertEqual(tool.returncode, 0, tool.stderr)
        lines = tool.stdout.splitlines()
        self.assertEqual(lines[0], 'detect-transients ' + version)
        self.assertEqual(lines[1], 'plug-in transient-detector:TransientDetector version %s, %s' %
                         (major, BUILD / 'transient-detector' / 'transient-detector.so'))
        self.assertRegex(lines[2], r'^libsndfile-\d+\.\d+\.\d+')
        n3 = (BUILD / 'transient-detector' / 'transient-detector.n3').read_text()
        self.assertIn('owl:versionInfo       "%s" ;' % major, n3)
        header = (BUILD / 'include' / 'base' / 'core' / 'Version.h').read_text()
        self.assertIn('#define TRANSIENT_DETECTOR_VERSION_STRING "%s"' % version, header)


class ManualPage(unittest.TestCase):
    def test_renders_cleanly_and_names_every_option(self):
        page = TOP / 'packaging' / 'detect-transients.1'
        r = subprocess.run(['groff', '-man', '-ww', '-z', '-Tutf8', page], capture_output=True, text=True)
        self.assertEqual((r.returncode, r.stderr), (0, ''))
        usage = sh(BUILD / 'tools' / 'detect-transients', '--help')
        options = set(re.findall(r'^\s+(?:-\w, )?(--[\w-]+)', usage, re.M))
        self.assertGreater(len(options), 20)
        text = page.read_text().replace('\\-', '-')
        self.assertEqual({o for o in options if not re.search(r'(?<!-)%s(?![\w-])' % o, text)}, set())


class PluginSearch(unittest.TestCase):
    """An installed detect-transients, alone in a prefix, with the plug-in's three files put in one place."""

    @classmethod
    def setUpClass(cls):
        cls.installed = install(tempfile.mkdtemp(prefix='installed-'))

    def found(self, places, vamp_path=None):
        """What --version says of the plug-in, with a copy of it in each of `places` (relative to a
        scratch folder that holds the prefix `usr` and the home `home`)."""
        top = Path(tempfile.mkdtemp(prefix='search-'))
        (top / 'usr' / 'bin').mkdir(parents=True)
        (top / 'home').mkdir()
        shutil.copy(self.installed / 'bin' / 'detect-transients', top / 'usr' / 'bin')
        for place in places:
            shutil.copytree(self.installed / 'lib' / 'vamp', top / place)
        env = {'HOME': str(top / 'home'), 'PATH': os.environ['PATH']}
        if vamp_path:
            env['VAMP_PATH'] = str(top / vamp_path) + ':/nowhere'
        r = subprocess.run([top / 'usr' / 'bin' / 'detect-transients', '--version'], capture_output=True,
                           text=True, env=env, timeout=60)
        line = r.stdout.splitlines()[1]
        return r.returncode, line.replace(str(top) + '/', '').replace('/transient-detector.so', '')

    def test_order_of_the_folders(self):
        own, debian = 'usr/lib/vamp', 'usr/lib/%s/vamp' % MULTIARCH
        cases = [  # (places holding the plug-in, VAMP_PATH, where it is taken from)
            ([own], None, own),
            ([debian], None, debian),
            (['elsewhere'], 'elsewhere', 'elsewhere'),
            (['home/vamp'], None, 'home/vamp'),
            (['home/.vamp'], None, 'home/.vamp'),
            ([own, 'elsewhere'], 'elsewhere', own),       # the one installed with the program first
            (['home/vamp', 'elsewhere'], 'elsewhere', 'elsewhere'),  # then VAMP_PATH, then the defaults
        ]
        for places, vamp_path, expected in cases:
            with self.subTest(places=places, vamp_path=vamp_path):
                self.assertEqual(self.found(places, vamp_path), (0, 'plug-in transient-detector:TransientDetector '
                                                                    'version 2, ' + expected))

    def test_none_found_names_the_folders(self):
        system = [f for f in ('/usr/local/lib/vamp', '/usr/lib/vamp', '/usr/lib/%s/vamp' % MULTIARCH)
                  if os.path.exists(f + '/transient-detector.so')]
        if system:
            self.skipTest('installed on this machine, in ' + system[0])
        status, line = self.found([])
        self.assertEqual(status, 1)
        for folder in ('usr/lib/vamp', 'usr/lib/%s/vamp' % MULTIARCH, 'home/vamp', 'home/.vamp',
                       '/usr/local/lib/vamp', '/usr/lib/vamp'):
            self.assertIn(folder, line)

    @unittest.skipIf(cache('ENABLE_ASAN_UBSAN') == 'ON', "the sanitizers' own records name each source file")
    def test_no_build_path_in_the_program(self):
        # Debugging sections name the sources by design; what the program runs on must not.
        stripped = Path(tempfile.mkdtemp(prefix='stripped-')) / 'detect-transients'
        sh('strip', '-o', stripped, self.installed / 'bin' / 'detect-transients')
        text = stripped.read_bytes()
        self.assertEqual([p for p in {str(BUILD), str(TOP)} if p.encode() in text], [])

    def test_readme_per_user_lines_from_a_fresh_shell(self):
        """The lines as written, for a new user whose ~/.profile is Debian's; then a new login shell."""
        home = Path(tempfile.mkdtemp(prefix='home-'))
        shutil.copy('/etc/skel/.profile', home)
        work = Path(tempfile.mkdtemp(prefix='readme-install-'))
        (work / 'build').symlink_to(BUILD)
        env = {'HOME': str(home), 'PATH': '/usr/local/bin:/usr/bin:/bin', 'TERM': 'dumb'}
        sh('bash', '-lc', readme_block('sh', '--prefix ~/.local'), cwd=work, env=env)
        version = sh('bash', '-lc', 'detect-transients --version', cwd=home, env=env)
        self.assertIn('version 2, %s/.local/lib/vamp/transient-detector.so' % home, version)
        preload = os.environ.get('SANITIZER_PRELOAD')  # a host not ours, before an instrumented plug-in
        listing = sh('bash', '-lc', 'vamp-simple-host -l', cwd=home,
                     env=dict(env, LD_PRELOAD=preload, ASAN_OPTIONS='detect_leaks=0') if preload else env)
        self.assertIn('%s/vamp/transient-detector.so' % home, listing)


@unittest.skipIf(cache('ENABLE_ASAN_UBSAN') == 'ON' or cache('ENABLE_TSAN') == 'ON',
                 'built alone and uninstrumented once, in the plain build')
class LibrariesFromAnInstallation(unittest.TestCase):
    """The libraries configured alone (no Vamp SDK, no libsndfile looked for), installed, and the
    README's example built against them as an outside project, through CMake and through pkg-config."""

    @classmethod
    def setUpClass(cls):
        cls.build = Path(tempfile.mkdtemp(prefix='libraries-only-'))
        sh('cmake', '-S', TOP, '-B', cls.build, '-DLIBRARIES_ONLY=ON', '-DBUILD_TESTING=OFF')
        sh('cmake', '--build', cls.build, '-j%d' % os.cpu_count())
        cls.prefix = Path(tempfile.mkdtemp(prefix='prefix-'))
        sh('cmake', '--install', cls.build, '--prefix', cls.prefix)
        cls.example = (TOP / 'tests' / 'plugin' / 'LibraryExample.cpp').read_text()

    def project(self):
        work = Path(tempfile.mkdtemp(prefix='outside-'))
        (work / 'example.cpp').write_text(self.example)
        return work

    def test_built_alone(self):
        looked_for = (self.build / 'CMakeCache.txt').read_text()
        self.assertNotRegex(looked_for, r'(?im)^(VAMP_|SNDFILE|benchmark_DIR|GTest_DIR|FFTW)')
        installed = sorted(p.name for p in (self.prefix / 'lib').iterdir())
        self.assertEqual(installed, ['cmake', 'libtransient-detector-base-core.a', 'libtransient-detector-engine.a',
                                     'libtransient-detector-primitives.a', 'pkgconfig'])

    def test_consumers_get_no_build_flags(self):
        targets = (self.prefix / 'lib' / 'cmake' / 'TransientDetector' / 'TransientDetectorTargets.cmake').read_text()
        self.assertIn('cxx_std_17', targets)
        self.assertIn('Threads::Threads', targets)
        for flag in ('-W', 'sanitize', 'ffp-contract', 'project_options', str(TOP), str(self.build)):
            self.assertNotIn(flag, targets)

    def test_every_header_resolves_in_the_prefix(self):
        # The scalar twin of the vector wrapper stands in for sse2.h, never beside it.
        headers = sorted(h for h in (self.prefix / 'include').rglob('*.h') if h.name != 'scalar.h')
        source = ''.join('#include "%s"\n' % h.relative_to(self.prefix / 'include') for h in headers)
        sh('g++', '-std=c++17', '-fsyntax-only', '-I%s' % (self.prefix / 'include'), '-x', 'c++', '-', input=source)

    def test_readme_example_through_find_package(self):
        work = self.project()
        (work / 'CMakeLists.txt').write_text(readme_block('cmake', 'find_package(TransientDetector'))
        sh('cmake', '-S', work, '-B', work / 'build', '-DCMAKE_PREFIX_PATH=%s' % self.prefix)
        sh('cmake', '--build', work / 'build')
        self.assertRegex(sh(work / 'build' / 'example'), r'^mean level -3\.9\d* dB\n$')

    def test_readme_example_through_pkg_config(self):
        work = self.project()
        line = next(l for l in readme_block('sh', 'pkg-config').splitlines() if 'pkg-config' in l)
        sh('bash', '-c', line, cwd=work, env=dict(os.environ, PKG_CONFIG_PATH=str(self.prefix / 'lib' / 'pkgconfig')))
        self.assertRegex(sh(work / 'example'), r'^mean level -3\.9\d* dB\n$')

    def test_version_compatibility(self):
        """SameMajorVersion: any 2.x asks no more than 2.0.0 gives; 1.x and 3.x are other interfaces."""
        for asked, found in (('2.0', True), ('2', True), ('2.0.0', True), ('2.1', False), ('1.0', False),
                             ('3.0', False)):
            with self.subTest(asked=asked):
                work = Path(tempfile.mkdtemp(prefix='version-'))
                (work / 'CMakeLists.txt').write_text(
                    'cmake_minimum_required(VERSION 3.20)\nproject(v CXX)\n'
                    'find_package(TransientDetector %s CONFIG)\n'
                    'message(STATUS "found=${TransientDetector_FOUND}")\n' % asked)
                out = sh('cmake', '-S', work, '-B', work / 'b', '-DCMAKE_PREFIX_PATH=%s' % self.prefix)
                self.assertIn('found=%d' % found, out)


if __name__ == '__main__':
    unittest.main(verbosity=2)

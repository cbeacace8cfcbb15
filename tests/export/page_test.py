#!/usr/bin/python3
"""The page in a real browser: figures, sorting, filtering, opening directories, hostile names."""
import json
import os
import re
import unittest

import fixture
from fixture import bytes_of, orvctl

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    fixture.skip('python3-selenium is not installed')
DRIVER = fixture.need('chromedriver')


def browser(home):
    options = Options()
    for argument in ['--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage',
                     '--window-size=1280,900', f'--user-data-dir={home}']:
        options.add_argument(argument)
    options.set_capability('goog:loggingPrefs', {'browser': 'ALL', 'performance': 'ALL'})
    return webdriver.Chrome(service=Service(DRIVER), options=options)


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = fixture.Work()
        cls.tree = cls.work.hostile_tree()
        cls.result = cls.work.scan(fixture.own_definition(cls.tree), [cls.tree])
        cls.figures, cls.old, cls.subtrees, _ = fixture.own_figures(cls.result)
        os.environ['HOME'] = str(cls.work.path)
        cls.driver = browser(cls.work.path / 'browser')
        cls.addClassCleanup(cls.driver.quit)

    def open(self, result, *options):
        page = self.work.path / 'page.html'
        orvctl('report', result, '--format', 'html', '--output', page, *options)
        self.driver.get(f'file://{page}')
        return page

    def tearDown(self):
        self.assertEqual(self.driver.get_log('browser'), [])

    def all(self, selector, within=None):
        return (within or self.driver).find_elements(By.CSS_SELECTOR, selector)

    def column(self, section, number):
        """The exact values of a column of the section's first table with rows, as they stand."""
        return self.driver.execute_script(
            'return Array.from(document.querySelectorAll(arguments[0]), (cell) => cell.dataset.value)',
            f'#{section} tbody tr td:nth-child({number})')

    def button(self, words, within=None):
        return self.driver.execute_script(
            'return Array.from((arguments[0] || document).querySelectorAll("button"))'
            '.find((button) => (button.innerText || button.ariaLabel).includes(arguments[1]))', within, words)

    def test_figures_are_those_of_the_result(self):
        self.open(self.result)
        head = {card.get_attribute('data-figure'): int(card.get_attribute('data-value')) for card in self.all('dd')}
        self.assertEqual((head['files'], head['directories'], head['bytes']), self.figures.totals)
        self.assertIn(f'{self.figures.totals[2]:,} bytes', self.driver.find_element(By.ID, 'head').text)
        self.assertEqual(list(map(int, self.column('sizes', 3))), [size for _, size in self.figures.sizes])
        self.assertEqual(list(map(int, self.column('ages', 3)))[:10], [size for _, size in self.figures.accessed])
        owners = dict(zip(self.column('owners', 1), zip(*(map(int, self.column('owners', n)) for n in (4, 5, 6, 7)))))
        self.assertEqual({name.encode(): figures for name, figures in owners.items()}, {
            owner[0]: (owner[4],) + tuple(old.get(number, (0, 0))[1] for old in self.old)
            for number, owner in self.figures.owners.items()})
        self.button('Show all', self.driver.find_element(By.ID, 'files')).click()
        self.assertEqual([(bytes_of(path), int(size)) for path, size in zip(self.column('files', 1), self.column('files', 2))],
                         [(file[0], file[3]) for file in self.figures.files])

    def test_tables_sort_and_filter(self):
        self.open(self.result)
        files = self.driver.find_element(By.ID, 'files')
        self.button('Modified', files).click()
        days = self.column('files', 4)
        self.assertEqual(days, sorted(days))
        self.button('Size', files).send_keys(Keys.ENTER)
        self.button('Size', files).send_keys(Keys.ENTER)
        self.button('Show all', files).click()
        self.assertEqual(list(map(int, self.column('files', 2))), sorted(file[3] for file in self.figures.files))
        self.assertEqual(self.all('th[aria-sort="ascending"]', files)[0].text.split()[0], 'Size')
        self.all('input', files)[0].send_keys('SPARSE')
        self.assertEqual([int(size) >> 30 for size in self.column('files', 2)], [1, 3, 5, 9])
        self.assertEqual(self.all('[role=status]', files)[0].text, f'4 of {len(self.figures.files)}')
        self.button('Longest not accessed', files).click()
        self.assertEqual(bytes_of(self.column('files', 1)[0]), self.figures.unused[0][0])

    def test_directories_open_by_mouse_and_keyboard(self):
        deep = self.work.path / 'deep'
        for name in ['a/b', 'a/c', 'd']:
            (deep / name).mkdir(parents=True)
            (deep / name / 'file').write_bytes(b'x' * 70000)
        self.open(self.work.scan(fixture.own_definition(deep), [deep]))
        self.assertEqual(self.column('level', 1), ['a', 'd'])
        self.assertEqual(len(self.all('#map .tile')), 3)
        self.assertEqual(len(self.all('#map button')), 1)
        self.all('#map button')[0].send_keys(Keys.ENTER)
        self.assertEqual(sorted(self.column('level', 1)), ['b', 'c'])
        self.assertEqual(self.driver.switch_to.active_element.text, 'a')
        self.driver.switch_to.active_element.send_keys(Keys.ESCAPE)
        self.assertEqual(self.column('level', 1), ['a', 'd'])
        self.button('a', self.driver.find_element(By.ID, 'level').find_element(By.CSS_SELECTOR, 'tbody')).click()
        self.assertEqual(self.all('#trail strong')[0].text, 'a')
        self.button('deep', self.driver.find_element(By.ID, 'trail')).click()
        self.assertEqual(self.column('level', 1), ['a', 'd'])

    def test_hostile_names_stay_text(self):
        page = self.open(self.result)
        names = {bytes_of(name) for name in self.column('level', 1)}
        self.assertTrue(names <= {path[len(str(self.tree)) + 1:] for path in self.subtrees})
        self.button('Show all', self.driver.find_element(By.ID, 'level')).click()
        self.assertIn('<script>document.title="owned"<', self.driver.find_element(By.ID, 'level').text)
        self.assertEqual((self.driver.title, len(self.all('script'))), (f'Scan of {self.tree}', 3))
        # The page asks nobody for anything.
        requested = re.findall(r'"url":"([a-z]+:)(?!//[^"]*page\.html)', ' '.join(
            entry['message'] for entry in self.driver.get_log('performance') if 'requestWillBeSent"' in entry['message']))
        self.assertEqual(set(requested) - {'data:', 'chrome:'}, set())
        self.assertEqual(re.findall(rb'(?:src|href)="(?!data:)', page.read_bytes().split(b'id="data"')[0]), [])

    def test_small_and_dark_screens(self):
        self.open(self.result)
        backgrounds = set()
        for scheme in ['light', 'dark']:
            for width in [1280, 400]:
                self.driver.execute_cdp_cmd('Emulation.setEmulatedMedia', {'features': [
                    {'name': 'prefers-color-scheme', 'value': scheme}]})
                self.driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride', {
                    'width': width, 'height': 900, 'deviceScaleFactor': 1, 'mobile': False})
                self.assertLessEqual(self.driver.execute_script('return document.documentElement.scrollWidth'), width)
                backgrounds.add(self.driver.execute_script('return getComputedStyle(document.body).backgroundColor'))
        self.driver.execute_cdp_cmd('Emulation.clearDeviceMetricsOverride', {})
        self.assertEqual(len(backgrounds), 2)
        # Asked at once: the page draws anew when its size changes.
        labels = self.driver.execute_script(
            'return Array.from(document.querySelectorAll("svg, #map button"), (e) => e.getAttribute("aria-label"))')
        self.assertTrue(labels and all(labels), labels)

    def test_growth_is_drawn(self):
        page = self.open(self.result)
        line = lambda name, *points: {'name': name, 'scans': len(points), 'points': points}
        day = 86400000
        growth = {'path': str(self.tree), 'trend': 'Grows.', 'directories': [line('d', [0, 1], [day, 2], [2 * day, 3])],
                  'total': line('Total size', [0, 5 << 30], [day, 7 << 30]), 'used': line('Used', [0, 9 << 30])}
        page.write_text(page.read_text().replace('"growth":[]', f'"growth":[{json.dumps(growth)}]'))
        self.driver.get(f'file://{page}')
        drawn = [[command.count('L') + 1 for command in self.driver.execute_script(
            'return Array.from(arguments[0].querySelectorAll("path[stroke]"), (path) => path.getAttribute("d"))', svg)]
            for svg in self.all('#growth svg')]
        self.assertEqual([len(lines) >= 1 and lines[-1] for lines in drawn], [2, 3])
        self.assertEqual(list(zip(*(self.column('growth', n) for n in (1, 2, 3, 4)))),
                         [('Total size', '2', str(5 << 30), str(7 << 30)), ('d', '3', '1', '3')])
        self.assertIn('Grows.', self.driver.find_element(By.ID, 'growth').text)

    def test_ten_thousand_directories_stay_below_a_megabyte(self):
        many = self.work.path / 'many'
        for i in range(100):
            for j in range(100):
                (many / f'a directory with a rather long name {i:04}' / f'and one within it of the same length {j:04}').mkdir(
                    parents=True)
        result = self.work.scan(fixture.own_definition(many), [many])
        page = self.open(result)
        self.assertLess(page.stat().st_size, 1_000_000)
        self.button('Show all', self.driver.find_element(By.ID, 'level')).click()
        self.assertEqual(len(self.column('level', 1)), 100)
        self.assertEqual(int(self.all('dd[data-figure=directories]')[0].get_attribute('data-value')), 10101)


if __name__ == '__main__':
    unittest.main()

#!/usr/bin/env python3
"""Looks at the trace command's page in a headless browser.

    trace_page_test.py TOOL BROWSER
"""

import base64
import os
import subprocess
import sys
import tempfile
import unittest

from browser import Browser, Page
from sample_traces import HOSTILE_URL, Trace

TOOL, BROWSER = sys.argv[1:3]

SHOWN = "[...document.querySelectorAll('details.call')].filter(call => call.checkVisibility()).map(call => call.id)"

CONTRAST = """(() => {
  const channel = value => value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  const colour = text => text.match(/[\\d.]+/g).map(Number);
  const light = ([r, g, b]) => 0.2126 * channel(r / 255) + 0.7152 * channel(g / 255) + 0.0722 * channel(b / 255);
  const ground = element => {
    for (; element; element = element.parentElement) {
      const found = colour(getComputedStyle(element).backgroundColor);
      if (found.length < 4 || found[3] > 0) return found;
    }
    return [255, 255, 255];
  };
  for (const call of document.querySelectorAll("details")) call.open = true;
  let worst = [99, ""];
  for (const element of document.querySelectorAll("body *")) {
    const has_text = [...element.childNodes].some(node => node.nodeType === 3 && node.data.trim());
    if (!has_text || !element.checkVisibility() || element.closest("svg, script, .skip")) continue;
    const two = [light(colour(getComputedStyle(element).color)), light(ground(element))].sort();
    const ratio = (two[1] + 0.05) / (two[0] + 0.05);
    if (ratio < worst[0]) worst = [ratio, element.outerHTML.slice(0, 120)];
  }
  return worst;
})()"""


class TracePage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser(BROWSER))
        cls.folder = cls.enterClassContext(tempfile.TemporaryDirectory())
        first = Trace(4711, seconds=0).fresh("http://server/alpha.xml").wait(3).failed("http://server/beta.xml")
        first.wait(1).downloaded("http://server/gamma.xml", seconds=30).fresh("http://server/alpha.xml")
        second = Trace(4723, seconds=2).failed(HOSTILE_URL).downloaded("http://server/delta.xml", seconds=5)
        cls.page_file = cls.make_page("page.html", {"qelfilecache_4711.trc": first, "qelfilecache_4723.trc": second})

    @classmethod
    def make_page(cls, name, traces):
        files = []
        for file, trace in traces.items():
            files.append(os.path.join(cls.folder, file))
            with open(files[-1], "w", encoding="utf-8") as output:
                output.write(trace.text)
        page = os.path.join(cls.folder, name)
        subprocess.run([TOOL, "trace", "--html", page, *files], check=True, stdout=subprocess.DEVNULL)
        return page

    def setUp(self):
        self.page = Page(self.browser)
        self.page.resize(1200)
        self.page.open(self.page_file)

    def test_it_shows_errors_first_and_asks_for_nothing_but_itself(self):
        self.assertEqual(self.page.run(SHOWN), ["c2", "c4", "c1", "c3", "c5", "c6"])
        self.assertEqual(self.page.run("document.querySelector('h1').textContent"), "6 requests, 2 failed")
        self.assertEqual(self.page.run("document.querySelectorAll('.lane rect').length"), 6)
        self.assertEqual(self.page.run("document.querySelector('.lane > span').textContent"), "Process")
        self.assertIn("dashed: shorter than a second", self.page.run("document.querySelector('.legend').innerText"))
        self.assertGreater(self.page.run("document.querySelectorAll('rect.brief').length"), 0)
        self.assertNotIn("\n", self.page.run("document.querySelector('.t').innerText"))
        self.assertEqual(self.page.requested(), ["file://" + self.page_file])
        self.assertEqual(self.page.complaints(), [])

    def test_it_is_readable_without_javascript(self):
        self.page.do("Emulation.setScriptExecutionDisabled", value=True)
        self.page.open(self.page_file, "#search=nothing-has-this")
        self.assertEqual(self.page.run(SHOWN), ["c2", "c4", "c1", "c3", "c5", "c6"])
        self.assertFalse(self.page.run("document.querySelector('form').checkVisibility()"))
        self.assertIn("status 404: not found", self.page.run("document.querySelector('.w').innerText"))
        self.page.do("Runtime.evaluate", expression="document.querySelector('#c4 summary').focus()")
        self.page.press("Enter", "\r")
        self.assertIn("HTTP GET request failed with status 404", self.page.run("document.querySelector('#c4').innerText"))
        self.page.run("document.querySelector('#c5').open = true")
        self.assertIn("after 30 s", self.page.run("document.querySelector('#c5 .r').innerText"))

    def test_a_hostile_request_is_nothing_but_text(self):
        self.assertEqual(self.page.run("document.querySelectorAll('script').length"), 1)
        self.assertEqual(self.page.run("document.querySelectorAll('style').length"), 1)
        self.assertEqual(self.page.run("document.querySelectorAll('img').length"), 0)
        self.assertNotEqual(self.page.run("document.title"), "ran")
        shown = HOSTILE_URL.replace("\x1b", "\\x1B").replace("\u202e", "\\xE2\\x80\\xAE")
        titles = self.page.run("[...document.querySelectorAll('.s')].map(title => title.textContent)")
        self.assertIn(shown, titles)

    def test_no_script_runs_and_no_style_applies_but_its_own(self):
        self.page.run("""document.body.insertAdjacentHTML('beforeend',
            '<img src=x onerror="document.title=1"><p id=styled style="color: rgb(1, 2, 3)">x</p>')""")
        self.page.run("""{ const script = document.createElement('script'); script.textContent = 'document.title = 1';
                           document.body.append(script); }""")
        self.page.run("new Promise(done => setTimeout(done, 300))")
        self.assertEqual(self.page.run("document.title"), "Trace: 6 requests, 2 failed")
        self.assertNotEqual(self.page.run("getComputedStyle(document.getElementById('styled')).color"), "rgb(1, 2, 3)")
        refused = [event.get("blockedReason") for event in self.page.of_kind("Network.loadingFailed")]
        self.assertEqual(refused, ["csp"], "the image is not fetched either")

    def test_the_filter_hides_what_does_not_match(self):
        self.page.press("/", "/")
        self.page.do("Input.insertText", text="ALPHA")
        self.assertEqual(self.page.run(SHOWN), ["c1", "c6"])
        self.assertEqual(self.page.run("document.querySelector('output').textContent"), "2 of 6")
        self.assertFalse(self.page.run("document.querySelector('#c2').closest('section').checkVisibility()"))
        counts = "[...document.querySelectorAll('.calls small')].map(count => count.textContent)"
        self.assertEqual(self.page.run(counts), ["0", "2"])
        self.assertEqual(self.page.run("location.hash"), "#search=ALPHA")
        self.assertEqual(self.page.run("document.querySelectorAll('.lane a.off').length"), 4)
        self.page.press("Escape")
        self.assertEqual(len(self.page.run(SHOWN)), 6)
        self.assertEqual(self.page.run(counts), ["2", "4"])

    def test_the_address_may_hold_what_to_search_for(self):
        self.page.open(self.page_file, "#search=" + "%22status%20404%22%20beta")
        self.assertEqual(self.page.run(SHOWN), ["c4"])
        self.assertEqual(self.page.run("document.querySelector('input').value"), '"status 404" beta')
        self.page.open(self.page_file, "#search=nothing-has-this")
        self.assertEqual(self.page.run(SHOWN), [])
        self.assertTrue(self.page.run("document.querySelector('.nothing').checkVisibility()"))
        self.page.open(self.page_file, "#search=%E0%A4%A")  # no valid encoding
        self.assertEqual(self.page.complaints(), [])
        self.page.open(self.page_file, "#search=<img src=x onerror=document.title='ran'>")
        self.assertNotEqual(self.page.run("document.title"), "ran")

    def test_an_outcome_is_a_filter(self):
        self.page.run("document.querySelector('.outcomes li').focus()")
        self.page.press("Enter", "\r")
        self.assertEqual(self.page.run(SHOWN), ["c2", "c4"])
        self.assertEqual(self.page.run("document.querySelector('input').value"), "")
        self.page.press("/", "/")
        self.page.do("Input.insertText", text="beta")
        self.assertEqual(self.page.run(SHOWN), ["c4"])
        self.assertEqual(self.page.run("document.querySelector('.outcomes b').textContent"), "1", "counts follow the filter")
        self.page.press("Escape")
        self.assertEqual(self.page.run("document.querySelector('.outcomes b').textContent"), "2")
        self.page.run("document.querySelector('.outcomes li').click()")
        self.assertEqual(len(self.page.run(SHOWN)), 6)

    def test_a_bar_leads_to_its_call(self):
        self.page.run("location.hash = document.querySelector('.lane a.red').getAttribute('href')")
        self.page.run("new Promise(done => setTimeout(done, 100))")
        self.assertEqual(self.page.run("[...document.querySelectorAll('details[open]')].map(call => call.id)"),
                         [self.page.run("location.hash.slice(1)")])

    def test_it_fits_every_width(self):
        for width in (320, 500, 768, 1200, 2400):
            self.page.resize(width)
            self.page.open(self.page_file)
            self.page.run("document.querySelectorAll('details').forEach(call => { call.open = true; })")
            self.assertLessEqual(self.page.run("document.documentElement.scrollWidth"), width)
            if width > 320:
                lines = self.page.run("""[...document.querySelectorAll('.t')].map(times => {
                    const text = document.createRange();
                    text.selectNodeContents(times);
                    return new Set([...text.getClientRects()].map(box => box.top)).size; })""")
                self.assertEqual(max(lines), 1, f"{width} pixels: time, duration and process share a line")

    def test_a_lane_is_named_by_its_folder_and_in_full_by_its_title(self):
        traces = {}
        for folder in ("pc1", "pc2"):
            os.mkdir(os.path.join(self.folder, folder))
            traces[folder + "/qelfilecache_4711.trc"] = Trace(seconds=0).fresh("http://server/a.xml")
        self.page.open(self.make_page("machines.html", traces))
        self.assertEqual(self.page.run("[...document.querySelectorAll('.lane > span[title]')].map(x => [x.innerText, x.title])"),
                         [[name[:4] + "4711", os.path.join(self.folder, name)] for name in traces])

    def test_labels_of_the_time_axis_do_not_overlap(self):
        for days, seconds in ((0, 6), (6, 0)):
            first = Trace(4711, seconds=0).fresh("http://server/a.xml")
            second = Trace(4723, seconds=seconds)
            second.day += days
            second.fresh("http://server/a.xml")
            page = self.make_page("axis.html", {"qelfilecache_4711.trc": first, "qelfilecache_4723.trc": second})
            for width in (320, 360, 500, 704, 850, 1200):
                self.page.resize(width)
                self.page.open(page)
                labels = self.page.run("""[...document.querySelectorAll('.axis text')]
                    .filter(label => getComputedStyle(label).display !== 'none')
                    .map(label => label.getBoundingClientRect()).map(box => [box.left, box.right])""")
                self.assertGreaterEqual(len(labels), 2)
                for (_, right), (left, _) in zip(labels, labels[1:]):
                    self.assertGreater(left, right, f"{days} days, {width} pixels: {labels}")

    def test_text_stands_out_from_its_ground_in_light_and_dark(self):
        grounds = set()
        for scheme in ("light", "dark"):
            self.page.do("Emulation.setEmulatedMedia",
                         features=[{"name": "prefers-color-scheme", "value": scheme}])
            self.page.open(self.page_file)
            grounds.add(self.page.run("getComputedStyle(document.body).backgroundColor"))
            ratio, element = self.page.run(CONTRAST)
            self.assertGreaterEqual(ratio, 4.5, f"{scheme}: {element}")
        self.assertEqual(len(grounds), 2)

    def test_on_paper_there_is_no_form(self):
        self.page.do("Emulation.setEmulatedMedia", media="print")
        self.assertFalse(self.page.run("document.querySelector('form').checkVisibility()"))
        self.assertTrue(self.page.run("document.querySelector('#c2').checkVisibility()"))
        self.assertTrue(base64.b64decode(self.page.do("Page.printToPDF")["data"]).startswith(b"%PDF"))

    def test_messages_outside_of_calls_stand_by_thread_with_their_meaning(self):
        trace = Trace(level="Error ")
        for trace.thread, name in ((4711, "<i>"), (4711, "b"), (4712, "c")):
            trace.error("Get_Cached_File_and_Status", f"Previously cached local file does not exist '/{name}'.")
        self.page.open(self.make_page("outside.html", {"qelfilecache_4711.trc": trace}))
        self.assertEqual(self.page.run(SHOWN), ["t1", "t2"])
        self.assertIn("the local file '/<i>' does not exist", self.page.run("document.querySelector('#t1 em').innerText"))
        self.assertIn("there are no calls to show", self.page.run("document.querySelector('.remarks').innerText"))
        self.assertEqual(self.page.run("document.title"), "Trace: 3 messages")
        self.page.run("location.hash = '#search=/b'")
        self.page.run("new Promise(done => setTimeout(done, 100))")
        self.assertEqual(self.page.run("document.querySelector('.calls small').textContent"), "2")
        ratio, element = self.page.run(CONTRAST)
        self.assertGreaterEqual(ratio, 4.5, element)

    def test_of_many_calls_it_holds_all_errors_and_stays_small(self):
        trace = Trace(7, seconds=0)
        for number in range(20000):
            trace.seconds = number // 10
            trace.fresh(f"http://server/{number}.xml")
            if number % 1000 == 999:
                trace.failed(f"http://server/{number}.xml")
        page = self.make_page("many.html", {"many.trc": trace})
        self.assertLess(os.path.getsize(page), 16 << 20)
        self.page.open(page)
        self.assertEqual(self.page.run("document.querySelector('output').textContent"), "to unfold, filter down to 300")
        self.assertEqual(self.page.run("document.querySelectorAll('details.error').length"), 20)
        self.assertLessEqual(self.page.run("document.querySelectorAll('.lane rect').length"), 240)
        self.assertTrue(self.page.run("document.body.textContent.includes('more are not on this page')"))
        self.page.run("location.hash = '#search=19999.xml'")
        self.page.run("new Promise(done => setTimeout(done, 100))")
        self.assertEqual(self.page.run("document.querySelectorAll('details:not([hidden])').length"), 1)


unittest.main(argv=sys.argv[:1], verbosity=2)

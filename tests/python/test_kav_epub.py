"""The Python host module against the built library (KAV_EPUB_LIBRARY)."""
import os
import tempfile
import unittest
import zipfile

import kav_epub


class KavEpubTest(unittest.TestCase):
    def setUp(self):
        self._tmp = tempfile.TemporaryDirectory()
        self.addCleanup(self._tmp.cleanup)
        self.work, self.txt, self.epub, self.picture = (
            os.path.join(self._tmp.name, name) for name in ("work", "book.txt", "book.epub", "p.png"))
        os.mkdir(self.work)
        with open(self.txt, "w", encoding="utf-8") as f:
            f.writelines(f"Line {n}: caf\u00e9 & more.\n" for n in range(130))
        with open(self.picture, "wb") as f:
            f.write(b"\x89PNG")

    def page(self, name):
        with zipfile.ZipFile(self.epub) as book:
            return book.read(name).decode("utf-8")

    def test_text_book_reports_progress_and_cancels_or_raises_without_a_book(self):
        reports = []

        def cancel_second(done, total):
            reports.append(done)
            return kav_epub.CANCEL if done == 2 else None

        def fail(done, total):
            raise KeyError("from the callback")

        with kav_epub.EpubService() as service:
            self.assertFalse(service.txt2epub(self.txt, self.epub, self.work, progress=cancel_second))
            with self.assertRaises(KeyError):
                service.txt2epub(self.txt, self.epub, self.work, progress=fail)
            self.assertFalse(os.path.exists(self.epub))
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.txt2epub("", self.epub, self.work)
            self.assertEqual(411, raised.exception.code)
            self.assertTrue(service.txt2epub(self.txt, self.epub, self.work,
                                             progress=lambda done, total: reports.append(done)))
        self.assertEqual([1, 2, 1, 2, 3, 4], reports)  # 130 lines: 3 pages, then the book
        self.assertIn("Line 129: caf\u00e9 &amp; more.", self.page("OEBPS/page-3.html"))
        self.assertEqual([], os.listdir(self.work))

    def test_book_built_page_by_page_raises_result_codes(self):
        with kav_epub.EpubService() as service:
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.start_page()  # no book yet
            self.assertEqual(410, raised.exception.code)
            service.init_epub(self.work, "Py \u00e9 Title", "Author")
            service.start_page()
            service.add_text_line("Hello from Python.\n")
            service.add_image_to_page(self.picture)
            service.end_page()
            service.add_image_page(self.picture)
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.set_html_encoding("KLINGON")
            self.assertEqual(446, raised.exception.code)
            service.set_html_encoding("auto")
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.add_html(os.path.join(self.work, "missing.html"))
            self.assertEqual(411, raised.exception.code)
            html = os.path.join(self._tmp.name, "gb.html")
            with open(html, "wb") as f:
                f.write('<meta charset="gb2312"><p>\u949f\u8868\u5320</p>'.encode("gb18030"))
            service.add_html(html)
            service.generate_epub(self.epub)
            service.clear_up()
            self.assertEqual([], os.listdir(self.work))
        self.assertIn("Py \u00e9 Title", self.page("OEBPS/content.opf"))
        self.assertIn("Hello from Python.", self.page("OEBPS/page-1.html"))
        self.assertIn("images/p.png", self.page("OEBPS/page-2.html"))
        self.assertIn("<p>\u949f\u8868\u5320</p>", self.page("OEBPS/page-3.html"))
        self.assertTrue(kav_epub.copyright())

    def test_mobi_book_in_pages_or_as_one_page(self):
        mobi = os.path.join(os.path.dirname(__file__), "..", "data", "mobi", "lantern_kf8.mobi")
        self.assertEqual((True, 0), kav_epub.convert_mobi(mobi, self.epub, self.work))
        ncx = self.page("OEBPS/toc.ncx")
        self.assertEqual(3, ncx.count("<navPoint"))
        self.assertIn("<text>Chapter 2: The Logbook</text>", ncx)
        self.assertEqual((True, 0), kav_epub.convert_mobi(mobi, self.epub, self.work,
                                                          mobi_layout="single"))
        self.assertEqual(1, self.page("OEBPS/toc.ncx").count("<navPoint"))
        with self.assertRaises(kav_epub.KavEpubError) as raised:
            kav_epub.convert_mobi(mobi, self.epub, self.work, mobi_layout="scroll")
        self.assertEqual(445, raised.exception.code)

    def test_text_book_with_chapters_and_the_extension_settings(self):
        with open(self.txt, "w", encoding="utf-8") as f:
            f.write("\u7b2c\u4e00\u7ae0 \u98ce\u8d77\n" + "\u4ed6\u8d70\u4e86\u3002\n" * 70
                    + "\u7b2c\u4e8c\u7ae0\n\u5979\u6765\u4e86\u3002\n")
        reports = []
        self.assertTrue(kav_epub.convert_text(self.txt, self.epub, self.work, author="Me",
                                              cover=self.picture,
                                              progress=lambda done, total: reports.append(done)))
        self.assertEqual([1, 2, 3, 4], reports)  # a chapter of two pages, one of one, the book
        ncx, opf = self.page("OEBPS/toc.ncx"), self.page("OEBPS/content.opf")
        self.assertEqual(2, ncx.count("<navPoint"))
        self.assertIn("<text>\u7b2c\u4e00\u7ae0 \u98ce\u8d77</text>", ncx)
        self.assertNotIn("page-2.html", ncx)  # the continuation page
        self.assertEqual(4, opf.count("<itemref"))  # the cover page and three pages
        self.assertIn("<dc:title>book</dc:title>", opf)
        self.assertIn("<dc:language>zh</dc:language>", opf)
        self.assertIn('href="images/p.png"', opf)
        with self.assertRaises(kav_epub.KavEpubError) as raised:
            kav_epub.convert_text(self.txt, self.epub, self.work, colour="red")
        self.assertEqual(444, raised.exception.code)
        self.assertEqual(("missing closing parenthesis", 2), kav_epub.check_chapter_pattern("(a"))
        self.assertIsNone(kav_epub.check_chapter_pattern("^Act \\d+$"))
        self.assertTrue(kav_epub.is_chapter_heading("Chapter 3. The Storm"))
        self.assertFalse(kav_epub.is_chapter_heading("Part of the people went up."))
        self.assertEqual("ja", kav_epub.guess_language("\u6614\u3005\u3001\u3042\u308b\u5c71"))

        with kav_epub.EpubService() as service:
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.set_page_heading("x")
            self.assertEqual(410, raised.exception.code)
            service.init_epub(self.work, "T", "A")
            service.set_language("fr")
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.set_page_listed(False)
            self.assertEqual(441, raised.exception.code)
            for heading in ("Ouverture", None):
                service.start_page()
                service.add_text_line("Bonjour.\n")
                if heading:
                    service.set_image_caption("Une lampe <allum\u00e9e>")
                    service.add_image_to_page(self.picture)
                    service.set_page_heading(heading)
                else:
                    service.set_page_listed(False)
                service.end_page()
            service.generate_epub(self.epub)
        self.assertIn("<h2>Ouverture</h2>", self.page("OEBPS/page-1.html"))
        self.assertIn('alt="Une lampe &lt;allum\u00e9e&gt;"', self.page("OEBPS/page-1.html"))
        self.assertEqual("book", kav_epub.html_book_title(self.txt))  # no <title>: the name
        self.assertEqual(1, self.page("OEBPS/toc.ncx").count("<navPoint"))
        self.assertIn("<dc:language>fr</dc:language>", self.page("OEBPS/content.opf"))


if __name__ == "__main__":
    unittest.main()

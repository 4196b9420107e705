"""The Python host module against the built library (KAV_EPUB_LIBRARY)."""
import os
import tempfile
import unittest
import zipfile

import kav_epub


class KavEpubTest(unittest.TestCase):
    def setUp(self):
        self._tmp = tempfile.TemporaryDirectory()
        self.tmp = self._tmp.name
        self.work = os.path.join(self.tmp, "work")
        os.mkdir(self.work)
        self.txt = os.path.join(self.tmp, "book.txt")
        with open(self.txt, "w", encoding="utf-8") as f:
            f.writelines(f"Line {n}: caf\u00e9 & more.\n" for n in range(130))
        self.epub = os.path.join(self.tmp, "book.epub")

    def tearDown(self):
        self._tmp.cleanup()

    def test_converts_a_text_book_reporting_progress_to_the_end(self):
        reports = []
        with kav_epub.EpubService() as service:
            made = service.txt2epub(self.txt, self.epub, self.work,
                                    progress=lambda done, total: reports.append((done, total)))
        self.assertTrue(made)
        self.assertEqual([(1, 4), (2, 4), (3, 4), (4, 4)], reports)  # 130 lines: 3 pages
        with zipfile.ZipFile(self.epub) as book:
            self.assertEqual("mimetype", book.namelist()[0])
            self.assertIn("OEBPS/page-3.html", book.namelist())
            self.assertIn("Line 129: caf\u00e9 &amp; more.",
                          book.read("OEBPS/page-3.html").decode("utf-8"))
        self.assertEqual([], os.listdir(self.work))

    def test_builds_a_book_page_by_page_and_raises_result_codes(self):
        picture = os.path.join(self.tmp, "picture.png")
        with open(picture, "wb") as f:
            f.write(b"\x89PNG")
        with kav_epub.EpubService() as service:
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.start_page()  # no book yet
            self.assertEqual(410, raised.exception.code)
            service.init_epub(self.work, "Py \u00e9 Title", "Author")
            service.start_page()
            service.add_text_line("Hello from Python.\n")
            service.add_image_to_page(picture)
            service.end_page()
            service.add_image_page(picture)
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.add_html(os.path.join(self.tmp, "missing.html"))
            self.assertEqual(411, raised.exception.code)
            service.generate_epub(self.epub)
            service.clear_up()
            self.assertEqual([], os.listdir(self.work))
            with self.assertRaises(kav_epub.KavEpubError):
                service.end_page()  # the book is gone
        with zipfile.ZipFile(self.epub) as book:
            names = book.namelist()
            self.assertIn("Py \u00e9 Title", book.read("OEBPS/content.opf").decode("utf-8"))
            self.assertIn("Hello from Python.", book.read("OEBPS/page-1.html").decode("utf-8"))
            self.assertEqual(2, sum(n.startswith("OEBPS/page-") for n in names))
            self.assertTrue(any(n.startswith("OEBPS/images/") for n in names), names)
        self.assertTrue(kav_epub.copyright())

    def test_progress_cancels_or_stops_with_its_exception_and_writes_no_book(self):
        reports = []

        def cancel_second(done, total):
            reports.append(done)
            return kav_epub.CANCEL if done == 2 else None

        def fail(done, total):
            raise KeyError("from the callback")

        with kav_epub.EpubService() as service:
            self.assertFalse(service.txt2epub(self.txt, self.epub, self.work, progress=cancel_second))
            self.assertEqual([1, 2], reports)
            self.assertFalse(os.path.exists(self.epub))
            with self.assertRaises(KeyError):
                service.txt2epub(self.txt, self.epub, self.work, progress=fail)
            self.assertFalse(os.path.exists(self.epub))
            with self.assertRaises(kav_epub.KavEpubError) as raised:
                service.txt2epub("", self.epub, self.work)
            self.assertEqual(411, raised.exception.code)
        self.assertEqual([], os.listdir(self.work))


if __name__ == "__main__":
    unittest.main()

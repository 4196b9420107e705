"""Kav EPUB for Python: libKav_Epub's C record through ctypes, nothing else.

    import kav_epub

    with kav_epub.EpubService() as epub:            # finds libKav_Epub.so
        epub.txt2epub("book.txt", "book.epub", "/tmp/work",
                      progress=lambda done, total: print(done, "of", total))

        epub.init_epub("/tmp/work", "My Book", "Me")  # or page by page
        epub.start_page()
        epub.add_text_line("Hello, world.\\n")
        epub.end_page()
        epub.generate_epub("hello.epub")
        epub.clear_up()

    # A whole text as kav-epub txt makes it: chapters, title, language.
    kav_epub.convert_text("novel.txt", "novel.epub", "/tmp/work",
                          author="Me", chapters="auto", language="auto")

Page by page, set_page_heading, set_page_listed and set_language add a
chapter's heading and table-of-contents label, keep a page out of the table
of contents, and set the book's language (service/kav_epub_ext.h).

Every failing entry raises KavEpubError carrying the library's result code
(the names are in service/kav_result.h). The library is found by the path
given to EpubService, else the environment variable KAV_EPUB_LIBRARY, else
the project's build directory beside this folder, else by its soname
libKav_Epub.so.1 where the system finds libraries (the installed package).
"""
import ctypes
import os

__all__ = ["CANCEL", "EpubService", "KavEpubError", "check_chapter_pattern", "convert_text",
           "copyright", "find_library", "guess_language", "html_title", "is_chapter_heading"]

# A progress callback returns CANCEL to stop a whole-file conversion.
CANCEL = -2
# What the library is looked up by when it is neither given nor built here.
SONAME = "libKav_Epub.so.1"


class KavEpubError(Exception):
    """A result code other than 0 from one of the library's entries."""

    def __init__(self, operation, code):
        super().__init__(f"{operation} failed with result code {code}")
        self.operation = operation
        self.code = code


_ProgressCallback = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_int, ctypes.c_int)


class _Data(ctypes.Structure):
    _fields_ = [("epub", ctypes.c_void_p)]


_DataPtr = ctypes.POINTER(_Data)
_Str = ctypes.c_char_p


def _entry(*arguments):
    return ctypes.CFUNCTYPE(ctypes.c_int, *arguments)


class _Service(ctypes.Structure):
    # Twelve pointer-sized slots, in the order of TEpubService.
    _fields_ = [
        ("data", _DataPtr),
        ("InitEpub", _entry(_DataPtr, _Str, _Str, _Str)),
        ("ClearUp", ctypes.CFUNCTYPE(None, _DataPtr)),
        ("StartPage", _entry(_DataPtr)),
        ("EndPage", _entry(_DataPtr)),
        ("AddTextLineToPage", _entry(_DataPtr, _Str)),
        ("AddImageToPage", _entry(_DataPtr, _Str)),
        ("AddImageToEpub", _entry(_DataPtr, _Str)),
        ("GenerateEpub", _entry(_DataPtr, _Str)),
        ("AddHtmlToEpub", _entry(_DataPtr, _Str)),
        ("Txt2Epub", _entry(_Str, _Str, _Str, _Str, _Str, ctypes.c_void_p, _ProgressCallback)),
        ("Mobi2Epub", _entry(_Str, _Str, _Str, ctypes.c_void_p, _ProgressCallback)),
    ]


def find_library(path=None):
    """The path of libKav_Epub.so that EpubService(path) would load."""
    if path:
        return os.fspath(path)
    if os.environ.get("KAV_EPUB_LIBRARY"):
        return os.environ["KAV_EPUB_LIBRARY"]
    here = os.path.dirname(os.path.abspath(__file__))
    built = os.path.join(here, "..", "build", "libKav_Epub.so")
    # Installed (python3-kav-epub), the library is found by the system.
    return built if os.path.exists(built) else SONAME


_loaded = {}


def _load(path):
    path = find_library(path)
    if path != SONAME:
        path = os.path.abspath(path)
    if path not in _loaded:
        library = ctypes.CDLL(path)
        library.CreateEpubService.restype = ctypes.POINTER(_Service)
        library.CreateEpubService.argtypes = []
        library.FreeEpubService.restype = None
        library.FreeEpubService.argtypes = [ctypes.POINTER(_Service)]
        library.GetEpubCopyright.restype = ctypes.c_void_p
        library.GetEpubCopyright.argtypes = []
        _declare_extension(library)
        _loaded[path] = library
    return _loaded[path]


def _declare_extension(library):
    """The C types of the extension entries (service/kav_epub_ext.h)."""
    record, size = ctypes.POINTER(_Service), ctypes.c_size_t
    entries = {
        "KavOptionsCreate": (ctypes.c_void_p, []),
        "KavOptionsFree": (None, [ctypes.c_void_p]),
        "KavOptionsSet": (ctypes.c_int, [ctypes.c_void_p, _Str, _Str]),
        "KavEpubSetLanguage": (ctypes.c_int, [record, _Str]),
        "KavEpubSetPageHeading": (ctypes.c_int, [record, _Str]),
        "KavEpubSetPageListed": (ctypes.c_int, [record, ctypes.c_int]),
        "KavEpubSetHtmlEncoding": (ctypes.c_int, [record, _Str]),
        "KavEpubSetAccessible": (ctypes.c_int, [record, ctypes.c_int]),
        "KavEpubSetImageCaption": (ctypes.c_int, [record, _Str]),
        "KavEpubConvertText": (ctypes.c_int, [_Str, _Str, _Str, ctypes.c_void_p, ctypes.c_void_p,
                                              _ProgressCallback]),
        "KavEpubConvertMobi": (ctypes.c_int, [_Str, _Str, _Str, ctypes.c_void_p, ctypes.c_void_p,
                                              _ProgressCallback, ctypes.POINTER(size)]),
        "KavCheckChapterPattern": (ctypes.c_int, [_Str, ctypes.c_char_p, size,
                                                  ctypes.POINTER(size)]),
        "KavIsChapterHeading": (ctypes.c_int, [_Str, size, _Str]),
        "KavGuessLanguage": (ctypes.c_int, [_Str, size, ctypes.c_char_p, size]),
        "KavHtmlTitle": (ctypes.c_int, [_Str, ctypes.c_char_p, size]),
        "KavHtmlTitleIn": (ctypes.c_int, [_Str, _Str, ctypes.c_char_p, size]),
        "KavHtmlBookTitle": (ctypes.c_int, [_Str, _Str, ctypes.c_char_p, size]),
    }
    for name, (result, arguments) in entries.items():
        getattr(library, name).restype = result
        getattr(library, name).argtypes = arguments


def _bytes(text):
    """A path or text as the library takes it: bytes, NUL-terminated by ctypes."""
    if text is None:
        return None
    if isinstance(text, str):
        return text.encode("utf-8", "surrogateescape")
    return os.fsencode(text)


def copyright(library=None):
    """The library's one-line notice."""
    lib = _load(library)
    pointer = lib.GetEpubCopyright()
    if not pointer:
        raise MemoryError("GetEpubCopyright")
    try:
        return ctypes.string_at(pointer).decode("utf-8", "replace")
    finally:
        libc = ctypes.CDLL(None)
        libc.free.argtypes = [ctypes.c_void_p]
        libc.free(pointer)


class EpubService:
    """One service record: a book built page by page, and whole-file
    conversions. Close it (or use it as a context manager) to release the
    record and any book in progress with its working files."""

    def __init__(self, library=None):
        self._lib = _load(library)
        self._record = self._lib.CreateEpubService()
        if not self._record:
            raise MemoryError("CreateEpubService")

    def close(self):
        # getattr: also called for an object whose __init__ failed.
        if getattr(self, "_record", None):
            self._lib.FreeEpubService(self._record)
            self._record = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __del__(self):
        self.close()

    def _service(self):
        if not self._record:
            raise ValueError("the service record is closed")
        return self._record.contents

    def _book(self, name, *arguments):
        service = self._service()
        code = getattr(service, name)(service.data, *map(_bytes, arguments))
        if code != 0:
            raise KavEpubError(name, code)

    # The book built page by page.
    def init_epub(self, work_dir, title="", author=""):
        self._book("InitEpub", work_dir, title, author)

    def start_page(self):
        self._book("StartPage")

    def add_text_line(self, line):
        self._book("AddTextLineToPage", line)

    def add_image_to_page(self, image_path):
        self._book("AddImageToPage", image_path)

    def end_page(self):
        self._book("EndPage")

    def add_image_page(self, image_path):
        self._book("AddImageToEpub", image_path)

    def add_html(self, html_path):
        self._book("AddHtmlToEpub", html_path)

    def generate_epub(self, epub_path):
        self._book("GenerateEpub", epub_path)

    # Extension settings: the book's language (after init_epub); the page
    # being built's heading and table-of-contents label, or its absence from
    # the table of contents (between start_page and end_page).
    def set_language(self, bcp47):
        self._extension("KavEpubSetLanguage", _bytes(bcp47))

    def set_page_heading(self, heading):
        self._extension("KavEpubSetPageHeading", _bytes(heading))

    def set_page_listed(self, listed):
        self._extension("KavEpubSetPageListed", 1 if listed else 0)

    # How add_html reads pages (after init_epub): "auto", each in its own
    # encoding; an encoding name, every page in that one; None, UTF-8.
    def set_html_encoding(self, mode):
        self._extension("KavEpubSetHtmlEncoding", _bytes(mode))

    def set_accessible(self, on=True):
        """Page languages and titles and accessibility metadata (after init_epub)."""
        self._extension("KavEpubSetAccessible", 1 if on else 0)

    def set_image_caption(self, caption):
        """The description of the next picture added (None: none)."""
        self._extension("KavEpubSetImageCaption", _bytes(caption))

    def _extension(self, name, argument):
        self._service()
        code = getattr(self._lib, name)(self._record, argument)
        if code != 0:
            raise KavEpubError(name, code)

    def clear_up(self):
        """Discards the book in progress and its working files."""
        service = self._service()
        service.ClearUp(service.data)

    # Whole files. progress(done, total) is called as the conversion goes;
    # returning CANCEL stops it. Both return True when the book was written
    # and False when progress cancelled it.
    def txt2epub(self, txt_path, epub_path, work_dir, title="", author="", progress=None):
        return self._convert("Txt2Epub", progress, txt_path, epub_path, work_dir, title, author)

    def mobi2epub(self, mobi_path, epub_path, work_dir, progress=None):
        return self._convert("Mobi2Epub", progress, mobi_path, epub_path, work_dir)

    def _convert(self, name, progress, *arguments):
        return _run_conversion(name, progress,
                               lambda callback: getattr(self._service(), name)(
                                   *map(_bytes, arguments), None, callback))


def _run_conversion(name, progress, call):
    """call(callback) runs a whole-file conversion; True when the book was
    written, False when progress cancelled it."""
    state = {"cancelled": False, "error": None}

    def report(_user, done, total):
        if state["error"] is not None:
            return CANCEL
        try:
            answer = progress(done, total) if progress else None
        except BaseException as error:  # raised again once the library has returned
            state["error"] = error
            return CANCEL
        # The last report comes after the book is written: too late to cancel.
        if answer == CANCEL and done < total:
            state["cancelled"] = True
            return CANCEL
        return 0

    callback = _ProgressCallback(report)  # alive for the whole call
    code = call(callback)
    if state["error"] is not None:
        raise state["error"]
    if code != 0:
        raise KavEpubError(name, code)
    return not state["cancelled"]


def convert_text(txt_path, epub_path, work_dir, progress=None, library=None, **options):
    """A whole text file into a book as kav-epub txt makes it. options: title,
    author, language ("auto" or a BCP 47 tag), cover, chapters ("auto",
    "off" or a PCRE2 pattern), encoding ("auto" or an iconv name). True when
    the book was written, False when progress cancelled it."""
    lib = _load(library)
    handle = lib.KavOptionsCreate()
    if not handle:
        raise MemoryError("KavOptionsCreate")
    try:
        for name, value in options.items():
            code = lib.KavOptionsSet(handle, _bytes(name), _bytes(value))
            if code != 0:
                raise KavEpubError(f"KavOptionsSet({name})", code)
        return _run_conversion(
            "KavEpubConvertText", progress,
            lambda callback: lib.KavEpubConvertText(_bytes(txt_path), _bytes(epub_path),
                                                    _bytes(work_dir), handle, None, callback))
    finally:
        lib.KavOptionsFree(handle)


def convert_mobi(mobi_path, epub_path, work_dir, progress=None, library=None, **options):
    """A whole MOBI book as kav-epub mobi makes it: in pages, with its own
    table of contents. options: mobi_layout ("pages" or "single", the book
    Mobi2Epub makes). Returns (written, flaws): written False when progress
    cancelled it, flaws the entries of the book's table of contents that
    could not be used as they are."""
    lib = _load(library)
    handle = lib.KavOptionsCreate()
    if not handle:
        raise MemoryError("KavOptionsCreate")
    flaws = ctypes.c_size_t(0)
    try:
        for name, value in options.items():
            code = lib.KavOptionsSet(handle, _bytes(name.replace("_", "-")), _bytes(value))
            if code != 0:
                raise KavEpubError(f"KavOptionsSet({name})", code)
        written = _run_conversion(
            "KavEpubConvertMobi", progress,
            lambda callback: lib.KavEpubConvertMobi(_bytes(mobi_path), _bytes(epub_path),
                                                    _bytes(work_dir), handle, None, callback,
                                                    ctypes.byref(flaws)))
        return written, flaws.value
    finally:
        lib.KavOptionsFree(handle)


def check_chapter_pattern(pattern, library=None):
    """None when pattern compiles; else (PCRE2's message, offset in bytes)."""
    message, offset = ctypes.create_string_buffer(256), ctypes.c_size_t(0)
    code = _load(library).KavCheckChapterPattern(_bytes(pattern), message, len(message),
                                                 ctypes.byref(offset))
    return None if code == 0 else (message.value.decode("utf-8", "replace"), offset.value)


def is_chapter_heading(line, pattern=None, library=None):
    """Whether a text line is a chapter heading (built-in shapes or pattern)."""
    data = _bytes(line)
    code = _load(library).KavIsChapterHeading(data, len(data), _bytes(pattern))
    if code not in (0, 1):
        raise KavEpubError("KavIsChapterHeading", code)
    return code == 1


def guess_language(text, library=None):
    """The BCP 47 tag of a text's language, guessed from its script."""
    data, tag = _bytes(text), ctypes.create_string_buffer(16)
    code = _load(library).KavGuessLanguage(data, len(data), tag, len(tag))
    if code != 0:
        raise KavEpubError("KavGuessLanguage", code)
    return tag.value.decode("ascii")


def _html_title(entry, html_path, library, encoding):
    title = ctypes.create_string_buffer(1024)
    code = getattr(_load(library), entry)(_bytes(html_path), _bytes(encoding), title, len(title))
    if code != 0:
        raise KavEpubError(entry, code)
    return title.value.decode("utf-8", "replace")


def html_title(html_path, library=None, encoding=None):
    """The text of an HTML file's <title>, the page read in encoding
    ("auto" when None, or a name); "" when it has none."""
    return _html_title("KavHtmlTitleIn", html_path, library, encoding)


def html_book_title(html_path, library=None, encoding=None):
    """The title kav-epub html gives a book of this page: its <title>, else
    its file's name without the extension."""
    return _html_title("KavHtmlBookTitle", html_path, library, encoding)

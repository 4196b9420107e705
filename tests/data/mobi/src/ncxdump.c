/* Prints what libmobi reads from a MOBI book's NCX index, one entry a line:
 *   NUMBER level=L parent=P children=FIRST-LAST offset=O length=N [pos=FRAGMENT:OFFSET] label=TEXT
 * (a missing tag prints as -, pos only when the entry has it: KF8), after a line text=BYTES entries=COUNT; with a
 * second argument it also writes the book's text there. libmobi reads the
 * NCX as the reader parses the book (parts rebuilt for MOBI 6 only), or with
 * NCXDUMP_RECONSTRUCT=0 or 1 in the environment, without or with them.
 *   gcc -o ncxdump src/ncxdump.c -lmobi && ./ncxdump BOOK.mobi [TEXT_OUT]
 * Exits 1 when libmobi cannot load or parse the book. */
#include <mobi.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static long tag(const MOBIIndexEntry *e, size_t id) {
    for (size_t i = 0; i < e->tags_count; i++)
        if (e->tags[i].tagid == id && e->tags[i].tagvalues_count > 0) return e->tags[i].tagvalues[0];
    return -1;
}

static void number(const char *name, long v) {
    if (v < 0) printf(" %s=-", name); else printf(" %s=%ld", name, v);
}

/* A CNCX string: forward variable-width length, then the bytes. */
static void label(const MOBIPdbRecord *cncx, long at) {
    printf(" label=");
    if (cncx == NULL || at < 0 || (size_t) at >= cncx->size) { printf("-\n"); return; }
    size_t pos = (size_t) at, len = 0;
    while (pos < cncx->size) {
        unsigned char c = cncx->data[pos++];
        len = (len << 7) | (c & 0x7f);
        if (c & 0x80) break;
    }
    if (len > cncx->size - pos) len = cncx->size - pos;
    fwrite(cncx->data + pos, 1, len, stdout);
    printf("\n");
}

int main(int argc, char **argv) {
    if (argc < 2) { fprintf(stderr, "usage: ncxdump BOOK.mobi [TEXT_OUT]\n"); return 2; }
    MOBIData *m = mobi_init();
    if (mobi_load_filename(m, argv[1]) != MOBI_SUCCESS) { printf("load failed\n"); return 1; }
    MOBIRawml *rawml = mobi_init_rawml(m);
    /* NCXDUMP_RECONSTRUCT=0: as a reader that rebuilds no parts (libmobi then
     * builds no NCX of its own from the entries). */
    const char *rebuild = getenv("NCXDUMP_RECONSTRUCT");
    bool reconstruct = rebuild ? rebuild[0] != '0' : !mobi_is_kf8(m);
    MOBI_RET r = mobi_parse_rawml_opt(rawml, m, true, false, reconstruct);
    if (r != MOBI_SUCCESS) { printf("parse failed %d\n", r); return 1; }
    size_t size = mobi_get_text_maxsize(m);
    char *text = malloc(size + 1);
    if (mobi_get_rawml(m, text, &size) != MOBI_SUCCESS) { printf("text failed\n"); return 1; }
    if (argc > 2) { FILE *f = fopen(argv[2], "wb"); fwrite(text, 1, size, f); fclose(f); }
    const MOBIIndx *ncx = rawml->ncx;
    printf("text=%zu entries=%zu\n", size, ncx ? ncx->entries_count : 0);
    for (size_t i = 0; ncx && i < ncx->entries_count; i++) {
        const MOBIIndexEntry *e = &ncx->entries[i];
        printf("%zu", i);
        number("level", tag(e, 4));
        number("parent", tag(e, 21));
        printf(" children=");
        if (tag(e, 22) < 0) printf("-"); else printf("%ld-%ld", tag(e, 22), tag(e, 23));
        number("offset", tag(e, 1));
        number("length", tag(e, 2));
        for (size_t t = 0; t < e->tags_count; t++)
            if (e->tags[t].tagid == 6 && e->tags[t].tagvalues_count > 1)
                printf(" pos=%u:%u", e->tags[t].tagvalues[0], e->tags[t].tagvalues[1]);
        label(ncx->cncx_record, tag(e, 3));
    }
    free(text);
    mobi_free_rawml(rawml);
    mobi_free(m);
    return 0;
}

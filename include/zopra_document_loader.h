/*
 * libzopra_document_loader: open PDF documents and read their pages.
 *
 * The library is used through an opaque handle, ZOPRADocumentLoader, obtained
 * from zopraDocumentLoaderCreate and released with zopraDocumentLoaderDestroy.
 * A handle owns exactly one document at a time plus the results of the last
 * page queries.
 *
 * Status codes
 *   Every function returns one of the ZOPRA_STATUS_* values below (except
 *   zopraDocumentLoaderDestroy, which returns nothing). No function ever lets
 *   an exception or a signal escape, and the library writes nothing to
 *   standard output or standard error.
 *
 * Pages
 *   Pages are numbered from 0 in document order.
 *
 * Threads
 *   A handle has no lock: use one handle from one thread at a time. Even
 *   read-only queries parse objects lazily and so change the handle. Separate
 *   handles share nothing but read-only tables and may be used from separate
 *   threads at the same time.
 *
 * Text
 *   Strings cross this interface as NUL-terminated UTF-8, except file paths,
 *   which are passed to the C library as they are (the platform's narrow
 *   encoding).
 */
#ifndef ZOPRA_DOCUMENT_LOADER_H
#define ZOPRA_DOCUMENT_LOADER_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#if defined(_WIN32)
#if defined(ZOPRA_DOCUMENT_LOADER_BUILDING)
#define ZOPRA_DOCUMENT_LOADER_API __declspec(dllexport)
#else
#define ZOPRA_DOCUMENT_LOADER_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ZOPRA_DOCUMENT_LOADER_API __attribute__((visibility("default")))
#else
#define ZOPRA_DOCUMENT_LOADER_API
#endif

#define ZOPRA_DOCUMENT_LOADER_VERSION_MAJOR 0
#define ZOPRA_DOCUMENT_LOADER_VERSION_MINOR 1
#define ZOPRA_DOCUMENT_LOADER_VERSION_PATCH 0

/* Done. */
#define ZOPRA_STATUS_SUCCESS 0
/* A null pointer, a handle with no open document, an index out of range or a
 * buffer too small. */
#define ZOPRA_STATUS_INVALID_ARGUMENT (-1)
/* Memory ran out. */
#define ZOPRA_STATUS_MEMORY_INSUFFICIENT (-5)
/* The call is not implemented on this platform (the wide-character forms). */
#define ZOPRA_STATUS_NOT_SUPPORTED (-15)
/* The document is encrypted and the empty password does not open it, or its
 * encryption is damaged or unsupported. */
#define ZOPRA_STATUS_ENCRYPTED_DOCUMENT (-24)
/* A stream of the document cannot be decoded. */
#define ZOPRA_STATUS_BROKEN_STREAM (-25)
/* Any other failure: not a PDF, a damaged file, a file that cannot be read. */
#define ZOPRA_STATUS_OTHER_ERROR (-128)

/* Image formats written by zopraDocumentLoaderGetImageFormat. */
/* No filter the library recognises: the bytes are the stream data as stored
 * (raw samples, or samples still encoded by Flate, CCITT, JBIG2, ...). */
#define ZOPRA_IMAGE_FORMAT_UNKNOWN 0
/* The image has a DCTDecode filter: the bytes are a JPEG file. */
#define ZOPRA_IMAGE_FORMAT_JPEG 1
/* The image has a JPXDecode filter: the bytes are a JPEG 2000 file. */
#define ZOPRA_IMAGE_FORMAT_JPEG2000 2

#ifdef __cplusplus
extern "C" {
#endif

/* The loader handle. Opaque to callers. */
typedef struct ZOPRADocumentLoader ZOPRADocumentLoader;

/* One text item of the last zopraDocumentLoaderExtractPageText. */
typedef struct ZOPRADocumentLoaderTextInfo {
  /* The item's text, UTF-8, NUL-terminated. Owned by the handle; valid until
   * the next zopraDocumentLoaderExtractPageText or OpenFileA on the handle,
   * or until it is destroyed. */
  const char* text;
  /* The text matrix of the item's first glyph in page space (PDF units, origin
   * at the lower left of the page): (e, f) is the start of the baseline,
   * (a, b) the direction and scale of the text's x axis. */
  double a, b, c, d, e, f;
  /* The font size (the Tf operand) in force for the item's first glyph: pass
   * it to zopraDocumentLoaderSetTextA to draw new text at the item's size.
   * Its effect on the page is scaled by the matrix above. */
  double fontSize;
  /* The horizontal scaling (Tz / 100: 1.0 is 100 %) in force for the item;
   * the value to pass to zopraDocumentLoaderSetTextA. */
  double horizontalScaling;
  /* The item's advance along its baseline, from the start of its first glyph
   * to the end of its last one, in the units of the matrix above, font size,
   * spacing and horizontal scaling included. This is the unit of
   * zopraDocumentLoaderGetTextWidth for a text set at this item: the new text
   * fits in the item's place when its measured width is at most this width.
   * On the page the advance is width * sqrt(a * a + b * b) PDF units. */
  double width;
  /* The text leading (TL) in force for the item, in the same units. */
  double leading;
} ZOPRADocumentLoaderTextInfo;

/* The style and place of one text item of the last
 * zopraDocumentLoaderExtractPageText (zopraDocumentLoaderGetTextStyle). */
typedef struct ZOPRADocumentLoaderTextStyle {
  /* The item's font name: its BaseFont without a subset tag ("ABCDEF+"), as
   * UTF-8 (a name that is not valid UTF-8 is read as Latin-1), NUL-terminated;
   * "" when the font has none. Owned by the handle; valid until the next
   * zopraDocumentLoaderExtractPageText or OpenFileA on the handle, or until
   * it is destroyed. */
  const char* fontName;
  /* 1 or 0 each. Set when the font descriptor says so (Flags: FixedPitch,
   * Serif, Italic, ForceBold; FontWeight of 600 or more; an ItalicAngle other
   * than 0) or the font's name does (the standard 14 names, and fragments
   * such as "Bold", "Semibold", "Black", "Italic", "Oblique", "Mono",
   * "Courier", "Times", "Serif"; a name that says "Sans" is never serif). */
  uint32_t bold, italic, serif, fixedPitch;
  /* The item's box on the page in PDF units, page space (the space of
   * ZOPRADocumentLoaderTextInfo's matrix): its baseline from its start to its
   * end, raised by the font's ascent and lowered by its descent (the font
   * descriptor's Ascent and Descent, else 0.8 and -0.2 of the font size).
   * x0 <= x1 and y0 <= y1. */
  double x0, y0, x1, y1;
  /* The font size as the page shows it, in PDF units (points at 72 per
   * inch): the font size scaled by the item's matrix across the baseline.
   * Differs from ZOPRADocumentLoaderTextInfo.fontSize when the matrix scales
   * (text set at "1 Tf" in a scaled matrix shows the matrix's scale). */
  double shownSize;
} ZOPRADocumentLoaderTextStyle;

/*
 * One graphics entry of the last zopraDocumentLoaderExtractPageGraphics: a
 * painted piece of a path (each subpath of a painted path is one entry) or a
 * drawn image. Coordinates are in PDF units in page space (origin at the
 * lower left as the page's box gives it, y upwards), before any page
 * rotation. Curves are not flattened: their control points count as points,
 * so the box of a curved piece can be larger than the drawn shape. Clipping
 * is reduced to a rectangle.
 */
typedef struct ZOPRADocumentLoaderGraphicsInfo {
  /* 1 for an image, 0 for a path piece. */
  uint32_t type;
  /* The entry's box cut to the clip. A horizontal or vertical line has a
   * width or height of 0. */
  double x, y, width, height;
  /* A line (isLine 1): its first and last point. Anything else: the lower
   * left and upper right corners of its box before clipping (for an image,
   * the box of the image on the page). */
  double startX, startY, endX, endY;
  /* The clip rectangle in force when the entry was painted. */
  double clipX, clipY, clipWidth, clipHeight;
  /* 1 or 0: a piece of exactly two points that is not closed; a rectangle
   * of `re` (always 1 for images); stroked; filled. A path piece that is
   * neither stroked nor filled is never reported. */
  uint32_t isLine, closed, stroke, fill;
  /* The line width in force, in user-space units as the content set it
   * (not scaled to the page); 1 for images. */
  double lineWidth;
  /* 0 when the content set no colour (and for images), 1 grey, 2 RGB,
   * 3 CMYK; the components in that order, unused ones -1. Colours set
   * through colour spaces (cs, sc, scn) are not tracked. */
  uint32_t fillColorType;
  double fillColor[4];
  uint32_t strokeColorType;
  double strokeColor[4];
  /* Images: the image XObject's object number, as
   * zopraDocumentLoaderGetImageCount lists it; paths: 0. */
  uint32_t objectNumber;
} ZOPRADocumentLoaderGraphicsInfo;

/*
 * zopraDocumentLoaderCreate
 *   Allocates a handle with no document open.
 * Parameters
 *   loader  [out] receives the new handle; must not be NULL. Left untouched
 *           on failure.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, ZOPRA_STATUS_INVALID_ARGUMENT (loader is NULL),
 *   ZOPRA_STATUS_MEMORY_INSUFFICIENT, ZOPRA_STATUS_OTHER_ERROR.
 * Ownership
 *   The caller owns the handle and releases it with zopraDocumentLoaderDestroy.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderCreate(ZOPRADocumentLoader** loader);

/*
 * zopraDocumentLoaderDestroy
 *   Releases the handle and everything it owns. Every pointer the library
 *   handed out for this handle becomes invalid.
 * Parameters
 *   loader  [in] the handle; NULL is ignored.
 */
ZOPRA_DOCUMENT_LOADER_API void zopraDocumentLoaderDestroy(ZOPRADocumentLoader* loader);

/*
 * zopraDocumentLoaderOpenFileA
 *   Reads and parses a PDF file. The whole file is read into memory; the file
 *   itself is closed before the call returns. May be called again on a handle
 *   that has a document open: the previous document is replaced, and all page
 *   results held by the handle are dropped.
 *   Encrypted documents are opened when the empty user password (or, for
 *   AES-256, the empty owner password) is accepted.
 * Parameters
 *   loader  [in] the handle; must not be NULL.
 *   path    [in] NUL-terminated path, in the platform's narrow encoding; must
 *           not be NULL.
 * Returns
 *   ZOPRA_STATUS_SUCCESS: the document is open.
 *   ZOPRA_STATUS_INVALID_ARGUMENT: loader or path is NULL.
 *   ZOPRA_STATUS_ENCRYPTED_DOCUMENT: a password is needed, or the encryption
 *     is damaged or unsupported.
 *   ZOPRA_STATUS_BROKEN_STREAM: a stream needed for opening cannot be decoded.
 *   ZOPRA_STATUS_MEMORY_INSUFFICIENT.
 *   ZOPRA_STATUS_OTHER_ERROR: the file cannot be read, is not a PDF, or is
 *     damaged beyond recovery.
 *   After any failure the handle has no document open.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderOpenFileA(ZOPRADocumentLoader* loader,
                                                              const char* path);

/*
 * zopraDocumentLoaderOpenFileW
 *   The wide-character form is not supported on this platform.
 * Returns
 *   Always ZOPRA_STATUS_NOT_SUPPORTED, whatever the arguments (NULL included);
 *   nothing is touched.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderOpenFileW(ZOPRADocumentLoader* loader,
                                                              const wchar_t* path);

/*
 * zopraDocumentLoaderOpenFileMappedA
 *   Opens a PDF file as zopraDocumentLoaderOpenFileA does, with the same
 *   results, but maps the file into memory instead of reading it: the handle
 *   does not hold a copy of the file, and the parts of it already read are
 *   handed back to the system as extraction goes on. Several handles on one
 *   file share the system's single copy. For large files and for many
 *   handles at once.
 *   The file must stay as it is while the document is open: changes to it
 *   show through, and a file truncated under the mapping makes the process
 *   fault (SIGBUS) when the lost part is read. Writing the edited document
 *   over the same path is safe (see zopraDocumentLoaderWriteDocumentA: the
 *   new file replaces the old one by rename). A file that cannot be mapped
 *   is read as zopraDocumentLoaderOpenFileA reads it.
 * Parameters and returns
 *   As zopraDocumentLoaderOpenFileA.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderOpenFileMappedA(ZOPRADocumentLoader* loader,
                                                                    const char* path);

/*
 * zopraDocumentLoaderGetPageCount
 *   The number of pages of the open document.
 * Parameters
 *   loader  [in] the handle.
 *   count   [out] receives the page count; must not be NULL.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader or
 *   count is NULL or no document is open.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageCount(ZOPRADocumentLoader* loader,
                                                                 uint32_t* count);

/*
 * zopraDocumentLoaderGetPageSize
 *   The size and rotation of one page. The size is that of the page's crop
 *   box (its media box when it has none) in PDF units (1/72 inch); width and
 *   height are exchanged when the page is rotated by 90 or 270 degrees, so
 *   they describe the page as it is displayed.
 * Parameters
 *   loader    [in] the handle.
 *   width     [out, may be NULL] the displayed width.
 *   height    [out, may be NULL] the displayed height.
 *   rotation  [out, may be NULL] clockwise rotation in degrees, 0 to 359.
 *   page      [in] page index, below the page count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader is
 *   NULL, no document is open or page is out of range.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageSize(ZOPRADocumentLoader* loader,
                                                                double* width, double* height,
                                                                uint32_t* rotation, uint32_t page);

/*
 * zopraDocumentLoaderExtractPageText
 *   Extracts the text of one page as positioned items (words and phrases
 *   joined by the engine's spacing rules, in content order) and keeps them in
 *   the handle, replacing the items of any earlier extraction. The items are
 *   addressed by index by later calls; zopraDocumentLoaderGetPageTextCount
 *   tells how many there are.
 * Parameters
 *   loader  [in] the handle.
 *   page    [in] page index, below the page count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader is NULL,
 *   no document is open or page is out of range; ZOPRA_STATUS_BROKEN_STREAM
 *   when a content stream or font stream cannot be decoded;
 *   ZOPRA_STATUS_OTHER_ERROR for a damaged object. After a failure, the count
 *   query answers ZOPRA_STATUS_INVALID_ARGUMENT until a later extraction
 *   succeeds.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderExtractPageText(ZOPRADocumentLoader* loader,
                                                                    uint32_t page);

/*
 * zopraDocumentLoaderGetPageTextCount
 *   The number of text items of the last successful
 *   zopraDocumentLoaderExtractPageText.
 * Parameters
 *   loader  [in] the handle.
 *   count   [out] receives the item count; must not be NULL.
 *   page    [in] must be the page of that extraction.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader or
 *   count is NULL, no document is open, no extraction has succeeded since the
 *   document was opened, or page is not the extracted page.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageTextCount(ZOPRADocumentLoader* loader,
                                                                     uint32_t* count,
                                                                     uint32_t page);

/*
 * zopraDocumentLoaderGetText
 *   Describes one item of the last zopraDocumentLoaderExtractPageText.
 * Parameters
 *   loader  [in] the handle.
 *   info    [out] filled on success; must not be NULL.
 *   index   [in] item index, below the count of
 *           zopraDocumentLoaderGetPageTextCount.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader or
 *   info is NULL, no document is open or index is out of range.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetText(ZOPRADocumentLoader* loader,
                                                            ZOPRADocumentLoaderTextInfo* info,
                                                            uint32_t index);

/*
 * zopraDocumentLoaderGetTextStyle
 *   Describes the style and place of one item of the last
 *   zopraDocumentLoaderExtractPageText: its font's name, bold, italic, serif
 *   and fixed pitch, its box on the page and its shown size.
 * Parameters
 *   loader  [in] the handle.
 *   style   [out] caller-owned record, filled on success; must not be NULL.
 *   index   [in] item index, below the count of
 *           zopraDocumentLoaderGetPageTextCount.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT (nothing written)
 *   when loader or style is NULL, no document is open or index is out of
 *   range.
 * Ownership
 *   style->fontName points into the handle, as the record describes.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextStyle(ZOPRADocumentLoader* loader,
                                                                 ZOPRADocumentLoaderTextStyle* style,
                                                                 uint32_t index);

/*
 * zopraDocumentLoaderGetTextRoom
 *   The room that new text may take at the place of one item of the last
 *   successful zopraDocumentLoaderExtractPageText, along the item's baseline
 *   from the item's start: up to the nearest of the next text on that line
 *   (less a word space), a vertical rule or the edge of a box or image
 *   (drawn to the right of the item, or around it) that crosses the line
 *   (less a small gap), the right edge of the column (the item's own end when
 *   it ends flush with the line just above or below it, as the full lines of
 *   a justified column do; else the farther right end of those two lines,
 *   when that is past the item's end), and the page's text margin (the rightmost end
 *   of the page's text; for the item that reaches farthest, the page's right
 *   edge less the page's left text margin). Only text that runs left to
 *   right along the page's x axis gets more room than its own width; other
 *   items (rotated, vertical) get exactly their width.
 *   The first room call after an extraction interprets the page's graphics
 *   once, into a store of its own (the entries of
 *   zopraDocumentLoaderExtractPageGraphics are untouched), and works out the
 *   room of every item; later calls read the result.
 * Parameters
 *   loader  [in] the handle.
 *   index   [in] item index, below the count of
 *           zopraDocumentLoaderGetPageTextCount.
 *   room    [out] receives the room, in the units of the item's width
 *           (ZOPRADocumentLoaderTextInfo.width, and of
 *           zopraDocumentLoaderGetTextWidth for a text set at the item): a
 *           text fits when its measured width is at most the room. Never
 *           below the item's own width. Must not be NULL; unchanged on
 *           failure.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader or room
 *   is NULL, no document is open, the last text extraction failed or there
 *   was none since the document was opened, or index is out of range;
 *   ZOPRA_STATUS_BROKEN_STREAM, ZOPRA_STATUS_ENCRYPTED_DOCUMENT or
 *   ZOPRA_STATUS_OTHER_ERROR when the page's graphics cannot be read to the
 *   end or the page holds too many overlapping items to lay out;
 *   ZOPRA_STATUS_MEMORY_INSUFFICIENT. A failed call is tried again by the
 *   next one.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextRoom(ZOPRADocumentLoader* loader,
                                                                uint32_t index, double* room);

/*
 * zopraDocumentLoaderGetPageTextSize
 *   Extracts the text of one page as a single UTF-8 string, one text item per
 *   line, every line (the last included) ended by a line feed, and keeps it in
 *   the handle for zopraDocumentLoaderGetPageText. Does not touch the items of
 *   zopraDocumentLoaderExtractPageText.
 * Parameters
 *   loader  [in] the handle.
 *   size    [out] receives the string's length in bytes plus 1 (room for the
 *           terminating NUL); must not be NULL. Unchanged on failure.
 *   page    [in] page index, below the page count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT as for the count call
 *   or when page is out of range; ZOPRA_STATUS_ENCRYPTED_DOCUMENT,
 *   ZOPRA_STATUS_BROKEN_STREAM, ZOPRA_STATUS_OTHER_ERROR when extraction fails
 *   (the kept string is then unchanged).
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageTextSize(ZOPRADocumentLoader* loader,
                                                                    uint32_t* size, uint32_t page);

/*
 * zopraDocumentLoaderGetPageText
 *   Copies the string built by the last zopraDocumentLoaderGetPageTextSize
 *   (whatever page it was for, also across re-opens) and a terminating NUL.
 *   Before any size call the string is empty.
 * Parameters
 *   loader      [in] the handle.
 *   buffer      [out] caller-owned buffer of bufferSize bytes; must not be NULL.
 *   bufferSize  [in] at least the size reported by the size call.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT (nothing written)
 *   when loader or buffer is NULL, no document is open, or the buffer is too
 *   small.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageText(ZOPRADocumentLoader* loader,
                                                                char* buffer, uint32_t bufferSize);

/*
 * zopraDocumentLoaderRemoveOriginalText
 *   Removes every text-showing operator (Tj, TJ, ' and ") inside BT ... ET
 *   from the page's content and from the Form XObjects it uses. Everything
 *   else (text state operators, graphics, images) is kept byte for byte. The
 *   page's content streams and Form XObjects are first copied into new
 *   objects, so other pages that share them are not changed; the copies hold
 *   the content decoded, the page's whole content in its first stream.
 *   Write the document (zopraDocumentLoaderWriteDocumentA) to keep the
 *   result. Does not refresh the items of the last text extraction.
 * Parameters
 *   loader  [in] the handle.
 *   page    [in] page index, below the page count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader is NULL,
 *   no document is open or page is out of range; ZOPRA_STATUS_BROKEN_STREAM
 *   when a content stream cannot be decoded (changes made until then stay);
 *   ZOPRA_STATUS_MEMORY_INSUFFICIENT; ZOPRA_STATUS_OTHER_ERROR.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderRemoveOriginalText(ZOPRADocumentLoader* loader,
                                                                       uint32_t page);

/*
 * zopraDocumentLoaderRemoveOriginalTextByIndex
 *   Removes the glyphs of chosen items of the last
 *   zopraDocumentLoaderExtractPageText, which must be of this page. Each
 *   removed string becomes a TJ adjustment of the same advance, so that the
 *   glyphs after it, and every item not chosen, keep their places; graphics
 *   and images are untouched. Content and Form XObjects are copied first, as
 *   zopraDocumentLoaderRemoveOriginalText does (also with no item chosen).
 *   Glyphs that a Form XObject draws more than once on the page go only when
 *   the items of all those drawings are chosen; removing one drawing alone
 *   would remove the others. Chosen items that keep glyphs on the page are
 *   reported by zopraDocumentLoaderGetUnremovedTextCount.
 *   The items are not refreshed: their indices still name the same text
 *   afterwards. Calls with items of one extraction add up: each derives the
 *   page from its content as it was at that extraction and every item chosen
 *   since, so the same items give the same result in any order or grouping,
 *   and repeating a call changes nothing.
 * Parameters
 *   loader   [in] the handle.
 *   page     [in] the page of the last successful text extraction.
 *   indices  [in] item indices (repeats allowed), each below the item count;
 *            may be NULL only when count is 0. The caller keeps the array.
 *   count    [in] number of indices.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader is NULL,
 *   no document is open, the last extraction failed or was of another page,
 *   an index is out of range, or indices is NULL with count above 0 (nothing
 *   is changed then); ZOPRA_STATUS_BROKEN_STREAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT,
 *   ZOPRA_STATUS_OTHER_ERROR as for zopraDocumentLoaderRemoveOriginalText.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderRemoveOriginalTextByIndex(
    ZOPRADocumentLoader* loader, uint32_t page, const uint32_t* indices, uint32_t count);

/*
 * zopraDocumentLoaderGetUnremovedTextCount
 *   After a removal, the number of chosen items whose glyphs are still, wholly
 *   or in part, on the page: for example one drawing of a Form XObject that
 *   the page draws twice, when the other drawing's item is not chosen. The
 *   items counted are those chosen by all calls of
 *   zopraDocumentLoaderRemoveOriginalTextByIndex since the last text
 *   extraction of that page; 0 is the normal case. After
 *   zopraDocumentLoaderRemoveOriginalText, which takes every text-showing
 *   operator, the count is 0.
 * Parameters
 *   loader  [in] the handle.
 *   count   [out] receives the number; must not be NULL.
 * Returns
 *   ZOPRA_STATUS_SUCCESS (0 when nothing was removed yet);
 *   ZOPRA_STATUS_INVALID_ARGUMENT when loader or count is NULL or no document
 *   is open.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetUnremovedTextCount(ZOPRADocumentLoader* loader,
                                                                          uint32_t* count);

/*
 * zopraDocumentLoaderGetUnremovedText
 *   One of the items that zopraDocumentLoaderGetUnremovedTextCount counts, in
 *   ascending order: its index among the items of the last text extraction.
 * Parameters
 *   loader  [in] the handle.
 *   index   [in] below the count.
 *   item    [out] receives the item index; must not be NULL.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader or item is
 *   NULL, no document is open or index is not below the count.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetUnremovedText(ZOPRADocumentLoader* loader,
                                                                     uint32_t index, uint32_t* item);

/*
 * zopraDocumentLoaderAdoptPageEdits
 *   Takes into `target` what `source` did to the pages firstPage..lastPage
 *   with the text removal and text drawing calls, so that `target` is as if
 *   it had made those edits itself, page after page: written, it gives the
 *   bytes it would give after making them. This lets several threads edit
 *   one file, each on its own handle and its own pages, and one handle
 *   gather and write the result: adopt the ranges in page order, and the
 *   output does not depend on how the pages were split. The objects the
 *   source created are created anew in `target`, numbered on from its own;
 *   fonts `target` has embedded already take the source's new glyphs, new
 *   ones get the resource names drawing would give them. Only `target`
 *   changes. Both handles must be used by one thread at a time: call this
 *   after the thread that edited `source` has finished with it. The items
 *   of the target's last text extraction are not refreshed.
 * Parameters
 *   target     [in] the handle that takes the edits.
 *   source     [in] another handle, opened on the same file (the same bytes);
 *              it may have edited no page outside the range.
 *   firstPage  [in] first page index of the range.
 *   lastPage   [in] last page index of the range, below the page count; no
 *              page of the range may have been edited in `target`.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT (nothing changed)
 *   when a handle is NULL or has no document open, both are the same
 *   handle, the documents were not read from the same bytes, the range is
 *   empty or past the last page, `source` edited a page outside it or
 *   `target` one inside it; ZOPRA_STATUS_MEMORY_INSUFFICIENT;
 *   ZOPRA_STATUS_OTHER_ERROR.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderAdoptPageEdits(ZOPRADocumentLoader* target,
                                                                   ZOPRADocumentLoader* source,
                                                                   uint32_t firstPage, uint32_t lastPage);

/*
 * zopraDocumentLoaderExtractPageGraphics
 *   Interprets one page and keeps its graphics entries in the handle, in
 *   painting order, replacing those of any earlier graphics extraction.
 *   Entries that lie wholly outside the clip are left out, and so are those
 *   whose width and height (after clipping) are both below minimumSize.
 *   Inline images are not reported.
 * Parameters
 *   loader       [in] the handle.
 *   page         [in] page index, below the page count.
 *   minimumSize  [in] in PDF units, 0 or more; 0 keeps every entry.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader is NULL,
 *   no document is open, page is out of range, or minimumSize is negative
 *   or not a number; ZOPRA_STATUS_BROKEN_STREAM when a content stream or
 *   font stream cannot be decoded; ZOPRA_STATUS_ENCRYPTED_DOCUMENT;
 *   ZOPRA_STATUS_MEMORY_INSUFFICIENT; ZOPRA_STATUS_OTHER_ERROR for a damaged
 *   object or a page too complex to finish. After an engine failure the
 *   handle keeps the entries made before it.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderExtractPageGraphics(
    ZOPRADocumentLoader* loader, uint32_t page, double minimumSize);

/*
 * zopraDocumentLoaderGetPageGraphicsCount
 *   The number of entries kept by the last
 *   zopraDocumentLoaderExtractPageGraphics, whatever page that was for (0
 *   after opening a document).
 * Parameters
 *   loader  [in] the handle.
 *   count   [out] receives the entry count; must not be NULL.
 *   page    [in] page index, below the page count; only checked against it.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader or
 *   count is NULL, no document is open or page is out of range.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetPageGraphicsCount(
    ZOPRADocumentLoader* loader, uint32_t* count, uint32_t page);

/*
 * zopraDocumentLoaderGetGraphics
 *   Copies one kept graphics entry into a caller's record.
 * Parameters
 *   loader  [in] the handle.
 *   info    [out] caller-owned record, filled on success; must not be NULL.
 *   index   [in] entry index, below the count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT (nothing written)
 *   when loader or info is NULL, no document is open or index is out of
 *   range.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetGraphics(
    ZOPRADocumentLoader* loader, ZOPRADocumentLoaderGraphicsInfo* info, uint32_t index);

/*
 * zopraDocumentLoaderGetGraphicsArray
 *   Copies the kept entries start to start + count - 1 into infos[0] to
 *   infos[count - 1].
 * Parameters
 *   loader  [in] the handle.
 *   infos   [out] caller-owned array of at least count records; must not be
 *           NULL, even when count is 0.
 *   count   [in] number of entries to copy; 0 succeeds without writing.
 *   start   [in] index of the first entry; start + count must not exceed
 *           the entry count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT (nothing written)
 *   when loader or infos is NULL, no document is open or the range runs
 *   past the last entry.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetGraphicsArray(
    ZOPRADocumentLoader* loader, ZOPRADocumentLoaderGraphicsInfo* infos, uint32_t count,
    uint32_t start);

/*
 * Image calls
 *   The images of a page are the image XObjects its content draws (in forms
 *   too), one per drawing in drawing order: an image drawn twice is listed
 *   twice, and index i names the i-th drawing. Inline images are not listed.
 *   Every image call interprets the page again to list its images; only the
 *   list of the last call is kept, so asking about n images costs about
 *   3n + 1 page interpretations.
 *   An image's bytes are its stream data as stored in the file, decrypted
 *   but with no filter undone: a JPEG (DCTDecode) or JPEG 2000 (JPXDecode)
 *   image is a complete file, anything else is handed out still encoded.
 *
 *   Statuses common to the four image calls:
 *   ZOPRA_STATUS_INVALID_ARGUMENT when loader or the output pointer is NULL,
 *   no document is open, page is out of range, or (for the calls taking an
 *   index) index is not below the count or names no object;
 *   ZOPRA_STATUS_BROKEN_STREAM when a content stream or font stream cannot
 *   be decoded; ZOPRA_STATUS_ENCRYPTED_DOCUMENT; ZOPRA_STATUS_MEMORY_INSUFFICIENT;
 *   ZOPRA_STATUS_OTHER_ERROR for a damaged object, a page too complex to
 *   finish, or image data that lies outside the file.
 */

/*
 * zopraDocumentLoaderGetImageCount
 *   The number of images the page draws.
 * Parameters
 *   loader  [in] the handle.
 *   count   [out] receives the count; must not be NULL.
 *   page    [in] page index, below the page count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or a status of the image calls (above).
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageCount(ZOPRADocumentLoader* loader,
                                                                  uint32_t* count, uint32_t page);

/*
 * zopraDocumentLoaderGetImageFormat
 *   The format of one image of the page, from its Filter entry: one of the
 *   ZOPRA_IMAGE_FORMAT_* values. With a chain of filters the last DCTDecode
 *   or JPXDecode decides, so [/FlateDecode /DCTDecode] is
 *   ZOPRA_IMAGE_FORMAT_JPEG although its bytes are Flate data.
 * Parameters
 *   loader  [in] the handle.
 *   format  [out] receives the format; must not be NULL.
 *   page    [in] page index, below the page count.
 *   index   [in] image index, below the page's image count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or a status of the image calls (above).
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageFormat(ZOPRADocumentLoader* loader,
                                                                   uint32_t* format,
                                                                   uint32_t page, uint32_t index);

/*
 * zopraDocumentLoaderGetImageBufferSize
 *   The length in bytes of one image's stored data.
 * Parameters
 *   loader  [in] the handle.
 *   size    [out] receives the length; must not be NULL.
 *   page    [in] page index, below the page count.
 *   index   [in] image index, below the page's image count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, ZOPRA_STATUS_MEMORY_INSUFFICIENT (nothing written)
 *   for an image of more than 4294967295 bytes, or a status of the image
 *   calls (above).
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageBufferSize(
    ZOPRADocumentLoader* loader, uint32_t* size, uint32_t page, uint32_t index);

/*
 * zopraDocumentLoaderGetImageBuffer
 *   Copies one image's stored data to the start of a caller's buffer. Note
 *   the order of the arguments: the buffer and its size come before the page
 *   and the index.
 * Parameters
 *   loader      [in] the handle.
 *   buffer      [out] caller-owned buffer; must not be NULL.
 *   bufferSize  [in] its size in bytes, at least the size reported by
 *               zopraDocumentLoaderGetImageBufferSize.
 *   page        [in] page index, below the page count.
 *   index       [in] image index, below the page's image count.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT (nothing copied)
 *   when the buffer is too small; or a status of the image calls (above).
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetImageBuffer(ZOPRADocumentLoader* loader,
                                                                   uint8_t* buffer,
                                                                   uint32_t bufferSize,
                                                                   uint32_t page, uint32_t index);

/*
 * zopraDocumentLoaderSetTextA
 *   Sets up a new text to draw at the place of an item of the last
 *   zopraDocumentLoaderExtractPageText, in a TrueType font file, and measures
 *   it. The new text starts where the item starts, along the same baseline
 *   (the item's matrix), with the item's character and word spacing and fill
 *   colour; size and horizontal scaling are the caller's. Nothing is drawn
 *   yet: zopraDocumentLoaderGetTextWidth tells the width the text will take,
 *   and zopraDocumentLoaderDrawText draws it. To fit a text into the item's
 *   width, call again with a smaller size until the width is small enough.
 *   The font file is read at every call. A character the font has no glyph
 *   for is measured and drawn as a space (dropped when the font has no space
 *   either). The text is drawn as one line; line feeds are not line breaks.
 *   A refused argument changes nothing; otherwise the text set before is
 *   dropped first, so after a failure nothing is left to measure or draw.
 * Parameters
 *   loader             [in] the handle.
 *   text               [in] NUL-terminated UTF-8 text, not empty.
 *   page               [in] the page to draw on, below the page count. It
 *                      need not be the extracted page: the item only gives
 *                      position and style.
 *   index              [in] the item, below the count of
 *                      zopraDocumentLoaderGetPageTextCount.
 *   fontPath           [in] NUL-terminated path of a TrueType font file
 *                      (glyph outlines, not CFF) with a Unicode character
 *                      map, in the platform's narrow encoding; not empty.
 *   fontSize           [in] font size, finite, above 0 and at most 10000
 *                      (the item's own size is
 *                      ZOPRADocumentLoaderTextInfo.fontSize).
 *   horizontalScaling  [in] horizontal scaling factor, 1.0 for 100 %.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader, text or
 *   fontPath is NULL or empty, no document is open, page or index is out of
 *   range, fontSize is not finite, not above 0 or above 10000, or text is
 *   not valid UTF-8;
 *   ZOPRA_STATUS_OTHER_ERROR when the font file cannot be read or is not a
 *   usable TrueType font; ZOPRA_STATUS_MEMORY_INSUFFICIENT.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetTextA(ZOPRADocumentLoader* loader, const char* text,
                                                             uint32_t page, uint32_t index,
                                                             const char* fontPath, double fontSize,
                                                             double horizontalScaling);

/*
 * zopraDocumentLoaderSetTextW
 *   The wide-character form is not supported on this platform.
 * Returns
 *   Always ZOPRA_STATUS_NOT_SUPPORTED, whatever the arguments (NULL included);
 *   nothing is touched.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetTextW(ZOPRADocumentLoader* loader, const wchar_t* text,
                                                             uint32_t page, uint32_t index,
                                                             const wchar_t* fontPath, double fontSize,
                                                             double horizontalScaling);

/*
 * zopraDocumentLoaderGetTextWidth
 *   The width of the text set by the last successful
 *   zopraDocumentLoaderSetTextA: its advance along the baseline, in the units
 *   of the item's matrix, the same units as ZOPRADocumentLoaderTextInfo.width
 *   of that item (multiply by sqrt(a * a + b * b) of the item's matrix for
 *   PDF units on the page).
 * Parameters
 *   loader  [in] the handle.
 *   width   [out] receives the width; must not be NULL.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader or
 *   width is NULL, no document is open, or no text is set (none yet, the last
 *   zopraDocumentLoaderSetTextA failed, or every character was dropped).
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextWidth(ZOPRADocumentLoader* loader,
                                                                 double* width);

/*
 * zopraDocumentLoaderMoveText
 *   Moves the text set by the last successful zopraDocumentLoaderSetTextA:
 *   by dx along its baseline and by dy across it (up for positive dy when
 *   the item is upright), in the units of the item's matrix, the units of
 *   zopraDocumentLoaderGetTextWidth. Moves add up until the next
 *   zopraDocumentLoaderSetTextA, which starts again at the item's start. A
 *   centred text keeps the centre of an item of width w when moved by
 *   (w - width) / 2; a second line one leading below the item is moved by
 *   (0, -leading).
 * Parameters
 *   loader  [in] the handle.
 *   dx, dy  [in] the distances; finite.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT (nothing moved)
 *   when loader is NULL, no document is open, no text is set or dx or dy is
 *   not finite.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderMoveText(ZOPRADocumentLoader* loader, double dx, double dy);

/*
 * zopraDocumentLoaderDrawText
 *   Draws the text set by the last successful zopraDocumentLoaderSetTextA on
 *   its page, after the page's content; the texts drawn on a page between
 *   two writes of the document share one content stream. Content that
 *   leaves graphics states open is closed with as many Q first.
 *   The first time text is drawn on a page, the page's earlier content is
 *   enclosed in q ... Q so that its graphics state does not affect the new
 *   text. The font file is embedded whole (zopraDocumentLoaderWriteDocumentCompactA
 *   keeps only the glyphs drawn), once per font path, as a Type0
 *   font with a ToUnicode map, so readers show the text and extract it again
 *   as text; later texts in the same font, on any page, share it. Each call
 *   draws the text again: call it once per text. Write the document
 *   (zopraDocumentLoaderWriteDocumentA) to keep the result. Does not refresh
 *   the items of the last text extraction.
 * Parameters
 *   loader  [in] the handle.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader is NULL,
 *   no document is open or no text is set; ZOPRA_STATUS_MEMORY_INSUFFICIENT;
 *   ZOPRA_STATUS_OTHER_ERROR when the page is damaged.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderDrawText(ZOPRADocumentLoader* loader);

/* Alignment of an item on its page, in its column or table cell
 * (zopraDocumentLoaderGetTextAlignment, ZOPRADocumentLoaderTextFit). */
#define ZOPRA_ALIGNMENT_LEFT 0
#define ZOPRA_ALIGNMENT_CENTER 1
#define ZOPRA_ALIGNMENT_RIGHT 2

/* What zopraDocumentLoaderFitTextA did. All widths in item-matrix units
 * (the units of ZOPRADocumentLoaderTextInfo.width). */
typedef struct ZOPRADocumentLoaderTextFit {
  /* The size the text is set at (the Tf operand). */
  double fontSize;
  /* That size in points as shown on the page (fontSize scaled by the item's
   * matrix across the baseline, as ZOPRADocumentLoaderTextStyle.shownSize). */
  double shownSize;
  /* The measured width of the whole text at fontSize. */
  double width;
  /* The room of the item (zopraDocumentLoaderGetTextRoom). */
  double room;
  /* The distance the text was moved along the baseline for its alignment
   * (0 for a left-aligned item). */
  double offset;
  /* The ZOPRA_ALIGNMENT_* value used (zopraDocumentLoaderGetTextAlignment). */
  int32_t alignment;
  /* Characters that no font of the chain has (drawn as a space). */
  uint32_t missingCharacters;
  /* 1 when the text is wider than the room even at the smallest size
   * allowed, else 0. */
  int32_t overflows;
} ZOPRADocumentLoaderTextFit;

/*
 * zopraDocumentLoaderSetTextChainA
 *   Like zopraDocumentLoaderSetTextA with a chain of TrueType fonts: every
 *   character comes from the first font of the chain that has a glyph for
 *   it. The text is drawn as consecutive runs, one per font, in one text
 *   object, and measured as a whole (zopraDocumentLoaderGetTextWidth). A
 *   character that no font has is measured and drawn as a space of the first
 *   font (dropped when it has no space) and counted
 *   (zopraDocumentLoaderGetMissingCharacterCount). Each font file used is
 *   embedded by zopraDocumentLoaderDrawText as zopraDocumentLoaderSetTextA's
 *   font is. Every font file is read at every call. A refused argument
 *   changes nothing; otherwise the text set before is dropped first.
 * Parameters
 *   loader             [in] the handle.
 *   text               [in] NUL-terminated UTF-8 text, not empty.
 *   page               [in] the page to draw on, below the page count.
 *   index              [in] the item that gives position and style, below
 *                      the count of zopraDocumentLoaderGetPageTextCount.
 *   fontPaths          [in] fontCount NUL-terminated, non-empty paths of
 *                      TrueType font files, first choice first; must not be
 *                      NULL, nor any of its entries. Read during the call
 *                      only.
 *   fontCount          [in] the number of paths, 1 to 16.
 *   fontSize           [in] as for zopraDocumentLoaderSetTextA.
 *   horizontalScaling  [in] as for zopraDocumentLoaderSetTextA.
 * Returns
 *   The statuses of zopraDocumentLoaderSetTextA; ZOPRA_STATUS_INVALID_ARGUMENT
 *   also when fontPaths or one of its entries is NULL or empty, or fontCount
 *   is 0 or above 16; ZOPRA_STATUS_OTHER_ERROR when any font file of the
 *   chain cannot be read or is not a usable TrueType font.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetTextChainA(ZOPRADocumentLoader* loader, const char* text,
                                                                  uint32_t page, uint32_t index,
                                                                  const char* const* fontPaths,
                                                                  uint32_t fontCount, double fontSize,
                                                                  double horizontalScaling);

/*
 * zopraDocumentLoaderGetMissingCharacterCount
 *   The number of characters of the text set last (by
 *   zopraDocumentLoaderSetTextA, zopraDocumentLoaderSetTextChainA or
 *   zopraDocumentLoaderFitTextA) that no font of its chain has; they are
 *   measured and drawn as a space. Line feeds and other control characters
 *   are not counted.
 * Parameters
 *   loader  [in] the handle.
 *   count   [out] receives the count; must not be NULL; unchanged on failure.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader or
 *   count is NULL, no document is open, or no text is set (none yet, or the
 *   last set failed).
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetMissingCharacterCount(ZOPRADocumentLoader* loader,
                                                                             uint32_t* count);

/*
 * zopraDocumentLoaderGetTextAlignment
 *   The alignment of an item of the last successful
 *   zopraDocumentLoaderExtractPageText. Only an item that runs left to
 *   right along the page's x axis can be other than ZOPRA_ALIGNMENT_LEFT.
 *   The first rule that applies decides: in a table cell (the smallest box,
 *   or pair of vertical rules, around it, with no other text of its line in
 *   it), ZOPRA_ALIGNMENT_CENTER when the gaps to both sides match and
 *   ZOPRA_ALIGNMENT_RIGHT when the right one is small and the left one is
 *   not; an item with other text on its line within a column-sized gap, or
 *   that starts where the line just above or below starts, is left-aligned;
 *   against those lines, ZOPRA_ALIGNMENT_RIGHT when it shares the right end
 *   of one (unless that line is part of a left-flush block, as in a
 *   justified paragraph) and ZOPRA_ALIGNMENT_CENTER when it shares its
 *   centre; ZOPRA_ALIGNMENT_CENTER when it is centred on the page or on the
 *   page's text area. Like
 *   zopraDocumentLoaderGetTextRoom, the first call after an extraction reads
 *   the page's graphics once.
 * Parameters
 *   loader     [in] the handle.
 *   index      [in] item index, below the count of
 *              zopraDocumentLoaderGetPageTextCount.
 *   alignment  [out] receives a ZOPRA_ALIGNMENT_* value; must not be NULL;
 *              unchanged on failure.
 * Returns
 *   The statuses of zopraDocumentLoaderGetTextRoom.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetTextAlignment(ZOPRADocumentLoader* loader,
                                                                     uint32_t index, int32_t* alignment);

/*
 * zopraDocumentLoaderFitTextA
 *   The one layout every client uses: sets text at the place of item index
 *   of the last successful zopraDocumentLoaderExtractPageText, on page, with
 *   the font chain (as zopraDocumentLoaderSetTextChainA), at the item's own
 *   size and horizontal scaling. When the text is wider than the room at
 *   the item it is set smaller, to the size that fits, never below
 *   minimumShownSize points as shown on the page (0: no minimum beyond the
 *   library's floor of 1 point as shown) nor above the item's own size.
 *   Then it is moved along its baseline so that a centred item keeps its
 *   centre and a right-aligned one its right edge
 *   (zopraDocumentLoaderGetTextAlignment); a left-aligned one keeps its
 *   start. The room is zopraDocumentLoaderGetTextRoom for a left-aligned
 *   item; for a right-aligned one, its width plus the free space before it
 *   (up to the text before it, less a word space, its cell's side or the
 *   page's left text margin); for a centred one, its width plus twice the
 *   smaller of the spaces before and after it. The result is the
 *   text set for zopraDocumentLoaderGetTextWidth, zopraDocumentLoaderMoveText
 *   and zopraDocumentLoaderDrawText, which draws it. A refused argument
 *   changes nothing; otherwise the text set before is dropped first.
 * Parameters
 *   loader            [in] the handle.
 *   text              [in] NUL-terminated UTF-8 text, not empty.
 *   page              [in] the page to draw on, below the page count.
 *   index             [in] the item, below the count of
 *                     zopraDocumentLoaderGetPageTextCount.
 *   fontPaths         [in] the chain, as for zopraDocumentLoaderSetTextChainA.
 *   fontCount         [in] the number of paths, 1 to 16.
 *   minimumShownSize  [in] the smallest size in points as shown; finite and
 *                     at least 0.
 *   fit               [out] caller-owned record, filled on success; may be
 *                     NULL when the caller does not need it.
 * Returns
 *   ZOPRA_STATUS_SUCCESS (also when the text overflows: see fit->overflows);
 *   the statuses of zopraDocumentLoaderSetTextChainA and
 *   zopraDocumentLoaderGetTextRoom; ZOPRA_STATUS_INVALID_ARGUMENT also when
 *   minimumShownSize is not finite or below 0, or there was no successful
 *   text extraction since the document was opened.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderFitTextA(ZOPRADocumentLoader* loader, const char* text,
                                                             uint32_t page, uint32_t index,
                                                             const char* const* fontPaths, uint32_t fontCount,
                                                             double minimumShownSize,
                                                             ZOPRADocumentLoaderTextFit* fit);

/*
 * zopraDocumentLoaderWriteDocumentA
 *   Writes the open document, with every change made through this handle, to
 *   a new PDF file. The output is a complete, unencrypted PDF with one classic
 *   cross-reference table: documents opened from encrypted files are written
 *   decrypted, objects of object streams become ordinary objects, and streams
 *   keep their bytes as they are (nothing is recompressed). Header versions
 *   before 1.4 are written as 1.4.
 *   The file appears only when it is complete: it is written under a
 *   temporary name in the same folder and then renamed over path, so a failed
 *   call leaves no partial file and any earlier file at path untouched.
 *   Writing to the file the document was read from works, since the whole
 *   input is held in memory, but the earlier content is then gone.
 * Parameters
 *   loader  [in] the handle.
 *   path    [in] NUL-terminated path of the file to write, in the platform's
 *           narrow encoding; must not be NULL or empty. An existing file is
 *           replaced.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT when loader or path
 *   is NULL, path is empty or no document is open;
 *   ZOPRA_STATUS_BROKEN_STREAM when an object stream of the document cannot
 *   be decoded; ZOPRA_STATUS_MEMORY_INSUFFICIENT; ZOPRA_STATUS_OTHER_ERROR
 *   when the file cannot be created or written, or an object of the document
 *   is damaged.
 * Ownership
 *   The caller keeps path; the handle and its document are unchanged and
 *   stay open.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderWriteDocumentA(ZOPRADocumentLoader* loader,
                                                                   const char* path);

/* Kinds of block (ZOPRADocumentLoaderBlockInfo.kind). */
#define ZOPRA_BLOCK_PARAGRAPH 0
#define ZOPRA_BLOCK_HEADING 1
#define ZOPRA_BLOCK_LIST_ITEM 2
#define ZOPRA_BLOCK_TABLE_CELL 3
#define ZOPRA_BLOCK_CAPTION 4
/* Lines set wholly in fixed-pitch fonts: a listing of code, input or
 * output, kept line by line. */
#define ZOPRA_BLOCK_CODE 5

/* A block's lines are stretched to its width, but its last (blocks only;
 * the other alignments are ZOPRA_ALIGNMENT_LEFT, _CENTER and _RIGHT). */
#define ZOPRA_ALIGNMENT_JUSTIFIED 3

/* One block of the last zopraDocumentLoaderExtractPageBlocks: a paragraph,
 * heading, list item, table cell, caption or code listing, made of
 * consecutive lines. */
typedef struct ZOPRADocumentLoaderBlockInfo {
  /* The block's text, UTF-8, NUL-terminated: its lines joined by a space, a
   * word hyphenated at a line end joined back (the hyphen of a compound such
   * as "state-of-the-art" stays), ligatures spelled out ("ffi" for U+FB03),
   * runs of white space made one space. The lines of a code listing and of
   * a column of a table without rules (figures, or one word a line) are
   * joined by a line feed instead, in the order top to bottom, those on one
   * baseline left to right. Owned by the handle; valid until the
   * next extraction (ExtractPageText or ExtractPageBlocks) or OpenFileA on
   * the handle, or until it is destroyed. */
  const char* text;
  /* The union of the glyph boxes of its items, PDF units, page space (the
   * space of ZOPRADocumentLoaderTextStyle's box). x0 <= x1, y0 <= y1. */
  double x0, y0, x1, y1;
  /* ZOPRA_BLOCK_* and ZOPRA_ALIGNMENT_* values. A block of one line is
   * left-aligned unless it is centred in the page's text area or under
   * its figure. */
  int32_t kind;
  int32_t alignment;
  /* The shown size (points) of most of its text, and the distance between
   * its baselines (the median; 1.2 times the size for a block of one line). */
  double shownSize;
  double leading;
  uint32_t lineCount;
  /* The number of its items (zopraDocumentLoaderGetBlockItems lists them). */
  uint32_t itemCount;
  /* The font most of its text is set in (text counted by bold, italic,
   * serif and fixed pitch; the longest stretch of that kind names the font),
   * as ZOPRADocumentLoaderTextStyle gives it: name (owned by the handle, valid as long as `text`; "" when unknown),
   * bold and italic (1 or 0). */
  const char* fontName;
  uint32_t bold, italic;
  /* An item set in that font: zopraDocumentLoaderGetTextStyle gives the
   * rest of the block's style. */
  uint32_t styleItem;
} ZOPRADocumentLoaderBlockInfo;

/* What zopraDocumentLoaderFlowBlockA drew. */
typedef struct ZOPRADocumentLoaderBlockFlow {
  /* Lines drawn, and the lines the block had. */
  uint32_t linesUsed;
  uint32_t blockLines;
  /* The one size of the whole new text, as shown on the page (points), and
   * as a factor of the block's own size (1 when it was not shrunk). */
  double shownSize;
  double scale;
  /* 1 when the text needs more room than the block and the free room below
   * it give even at the smallest size: it is drawn at that size anyway, its
   * last lines below the room. */
  int32_t overflows;
  /* Characters of the text the font has no glyph for (drawn as a space). */
  uint32_t missingCharacters;
  /* The box of the drawn lines, page space. */
  double x0, y0, x1, y1;
} ZOPRADocumentLoaderBlockFlow;

/*
 * zopraDocumentLoaderExtractPageBlocks
 *   Extracts the text of one page as zopraDocumentLoaderExtractPageText does
 *   (the items, addressed by the same indices, replace those of any earlier
 *   extraction) and groups the items into blocks, kept in the handle in
 *   reading order. Items on one baseline without a wide gap or a rule
 *   between them form a line; consecutive lines with a regular leading, the
 *   same size and weight and overlapping extents form a block, split at
 *   rules, cell borders and frames from the page's graphics, at list
 *   markers and at an indented first line. Blocks that cross the middle of
 *   the text area (a full-width title) cut the page into bands read top to
 *   bottom; within a band the left column is read before the right one.
 *   Items that are not upright, and every item past the first 20000 upright
 *   ones, make a block of one line each.
 * Parameters
 *   loader  [in] the handle.
 *   page    [in] page index, below the page count.
 *   count   [out] receives the number of blocks; must not be NULL.
 * Returns
 *   As zopraDocumentLoaderExtractPageText (INVALID_ARGUMENT also for a NULL
 *   count). After a failure the block calls answer
 *   ZOPRA_STATUS_INVALID_ARGUMENT until a later extraction succeeds.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderExtractPageBlocks(ZOPRADocumentLoader* loader, uint32_t page,
                                                                      uint32_t* count);

/*
 * zopraDocumentLoaderGetBlock
 *   Describes one block of the last zopraDocumentLoaderExtractPageBlocks.
 * Parameters
 *   loader  [in] the handle.
 *   index   [in] block index, below the count it gave.
 *   info    [out] filled on success; must not be NULL.
 * Returns
 *   ZOPRA_STATUS_SUCCESS, or ZOPRA_STATUS_INVALID_ARGUMENT when loader or
 *   info is NULL, no document is open, the last extraction was not a
 *   successful zopraDocumentLoaderExtractPageBlocks or index is out of range.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetBlock(ZOPRADocumentLoader* loader, uint32_t index,
                                                             ZOPRADocumentLoaderBlockInfo* info);

/*
 * zopraDocumentLoaderGetBlockItems
 *   The item indices of one block (the indices of zopraDocumentLoaderGetText
 *   and zopraDocumentLoaderRemoveOriginalTextByIndex), line by line from the
 *   top, each line left to right.
 * Parameters
 *   loader    [in] the handle.
 *   index     [in] block index.
 *   items     [out, may be NULL when capacity is 0] receives up to capacity
 *             indices.
 *   capacity  [in] the room in items.
 *   count     [out] receives the block's item count (even when it is larger
 *             than capacity); must not be NULL.
 * Returns
 *   ZOPRA_STATUS_SUCCESS (min(count, capacity) indices written), or
 *   ZOPRA_STATUS_INVALID_ARGUMENT as zopraDocumentLoaderGetBlock, and when
 *   items is NULL with a capacity above 0.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderGetBlockItems(ZOPRADocumentLoader* loader, uint32_t index,
                                                                  uint32_t* items, uint32_t capacity,
                                                                  uint32_t* count);

/*
 * zopraDocumentLoaderFlowBlockA
 *   Draws a new text over one block of the last
 *   zopraDocumentLoaderExtractPageBlocks, on that page, in a chain of
 *   TrueType fonts (each character from the first font that has it, as
 *   zopraDocumentLoaderSetTextChainA sets it), in the colour, spacing
 *   and matrix of the block's longest first-line item. Removes nothing:
 *   remove the block's items first (zopraDocumentLoaderGetBlockItems,
 *   zopraDocumentLoaderRemoveOriginalTextByIndex). White space runs in the
 *   text are one space; ligatures are spelled out.
 *   The words are broken greedily over the block's lines at their own
 *   baselines, each as wide as the block (the first line keeps its indent);
 *   when they need more lines, lines are added below at the block's leading
 *   while the room down to the next block, rule, frame or image below (or
 *   the bottom of the page's text) is free; when that is not enough, the
 *   whole text is set at the largest smaller size that fits, one size for
 *   the whole block, its lines closer by the same factor, never below
 *   minimumShownSize. Left, centred and right blocks keep their alignment;
 *   the lines of a justified block but its last are stretched to the
 *   block's width (drawn word by word). A block of one line may run as far
 *   as its room (zopraDocumentLoaderGetTextRoom); a block of rotated or
 *   mirrored text is drawn as one line on its first item's baseline, shrunk
 *   to that item's length. A code listing or a column of a table without
 *   rules (a block whose text joins its lines by a line feed) keeps the
 *   text's line breaks instead: each line of the text is drawn at the start
 *   and baseline of the block's line of the same rank (lines past its last
 *   one below it, at its leading), all at the largest size, at most the
 *   block's, at which each fits its room and the lines fit above the floor
 *   below; an empty line of the text leaves its line empty. A text of which no font has a character draws
 *   nothing (linesUsed 0, missingCharacters set); a block set at no usable
 *   size draws nothing either (overflows 1). Drawn as
 *   zopraDocumentLoaderDrawText draws (same content stream session); the
 *   text set by zopraDocumentLoaderSetTextA is left as it was.
 * Parameters
 *   loader            [in] the handle.
 *   index             [in] block index.
 *   text              [in] NUL-terminated UTF-8 text with something other
 *                     than white space.
 *   fontPaths         [in] fontCount NUL-terminated paths of TrueType font
 *                     files, none NULL or empty.
 *   fontCount         [in] 1 to 16.
 *   minimumShownSize  [in] the smallest size in points as shown on the page;
 *                     0 for a fifth of the block's size; finite, not
 *                     negative.
 *   flow              [out, may be NULL] what was drawn.
 * Returns
 *   ZOPRA_STATUS_SUCCESS (also when the text overflows: see flow);
 *   ZOPRA_STATUS_INVALID_ARGUMENT as zopraDocumentLoaderGetBlock, and for a
 *   NULL or empty text, a bad chain, text that is not UTF-8 or only white
 *   space, or a bad minimumShownSize; ZOPRA_STATUS_OTHER_ERROR when a font
 *   cannot be read or used, or the page is damaged;
 *   ZOPRA_STATUS_MEMORY_INSUFFICIENT.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderFlowBlockA(ZOPRADocumentLoader* loader, uint32_t index,
                                                               const char* text, const char* const* fontPaths,
                                                               uint32_t fontCount, double minimumShownSize,
                                                               ZOPRADocumentLoaderBlockFlow* flow);

/* Flags of zopraDocumentLoaderWriteDocumentCompactA; combine with |. */
/* Fonts embedded by zopraDocumentLoaderDrawText keep only the glyphs drawn. */
#define ZOPRA_COMPACT_SUBSET_FONTS 0x1u
/* Streams the library made or rewrote are Flate-compressed. */
#define ZOPRA_COMPACT_COMPRESS_STREAMS 0x2u
/* Objects nothing refers to any more are left out. */
#define ZOPRA_COMPACT_DROP_UNUSED 0x4u
/* Objects other than streams are packed into compressed object streams,
   with a cross-reference stream in place of the table (PDF 1.5). */
#define ZOPRA_COMPACT_OBJECT_STREAMS 0x8u
/* All of the above: the smallest file. */
#define ZOPRA_COMPACT_ALL 0xFu

/*
 * zopraDocumentLoaderWriteDocumentCompactA
 *   Writes the open document like zopraDocumentLoaderWriteDocumentA (same
 *   structure, same temporary-name-and-rename, same statuses), but smaller,
 *   as flags choose:
 *   - ZOPRA_COMPACT_SUBSET_FONTS: each TrueType font embedded by
 *     zopraDocumentLoaderDrawText keeps only the glyphs drawn with it (plus
 *     .notdef and the parts of composite glyphs); glyph numbers are kept.
 *     Its BaseFont and FontName become "ABCDEF+PostScriptName" (a six-letter
 *     subset tag and the font's PostScript name). A font the subsetter
 *     cannot handle is embedded whole under its plain PostScript name; the
 *     write still succeeds.
 *   - ZOPRA_COMPACT_COMPRESS_STREAMS: every stream the library created or
 *     rewrote (content after removal, drawn text, ToUnicode maps, font
 *     files) is Flate-compressed. Streams read from the input keep their
 *     stored bytes.
 *   - ZOPRA_COMPACT_DROP_UNUSED: only objects reachable from the trailer
 *     (document catalog and Info dictionary) are written; replaced page
 *     contents and emptied object streams are left out.
 *   - ZOPRA_COMPACT_OBJECT_STREAMS: objects other than streams are written
 *     into Flate-compressed object streams of up to 100 objects, and the
 *     file ends with a compressed cross-reference stream instead of a
 *     classic table; the header version is raised to 1.5 where it is lower.
 *   With any flag, strings are written in the shorter of the literal and
 *   the hex form. With flags 0 it writes exactly what
 *   zopraDocumentLoaderWriteDocumentA writes. The document in the handle is not
 *   changed: it can be edited and written again. Writing (either call) ends
 *   the drawing session: texts drawn afterwards go into a new content
 *   stream of the page.
 * Parameters
 *   loader  [in] the handle.
 *   path    [in] NUL-terminated path of the file to write, in the platform's
 *           narrow encoding; must not be NULL or empty. An existing file is
 *           replaced.
 *   flags   [in] ZOPRA_COMPACT_* values combined with |; ZOPRA_COMPACT_ALL
 *           for the smallest file.
 * Returns
 *   As zopraDocumentLoaderWriteDocumentA; ZOPRA_STATUS_INVALID_ARGUMENT also
 *   when flags holds a bit that is not a ZOPRA_COMPACT_* value.
 * Ownership
 *   The caller keeps path; the handle and its document stay open.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderWriteDocumentCompactA(ZOPRADocumentLoader* loader,
                                                                          const char* path, uint32_t flags);

/* The most threads zopraDocumentLoaderSetWriteThreads takes. */
#define ZOPRA_MAX_WRITE_THREADS 64u

/*
 * zopraDocumentLoaderSetWriteThreads
 *   Sets how many threads zopraDocumentLoaderWriteDocumentCompactA may use:
 *   the calling thread writes the file and deflates streams while it waits
 *   for one, and count - 1 more threads deflate streams beside it; 1 (the
 *   default for a new handle) deflates on the calling thread alone. The file
 *   written is the same, byte for byte, for every count. The setting stays
 *   with the handle across OpenFileA; zopraDocumentLoaderWriteDocumentA
 *   ignores it. The threads end before the write call returns.
 * Parameters
 *   loader  [in] the handle.
 *   count   [in] 1 or more; counts above ZOPRA_MAX_WRITE_THREADS are taken
 *           as that.
 * Returns
 *   ZOPRA_STATUS_SUCCESS; ZOPRA_STATUS_INVALID_ARGUMENT for a NULL loader or
 *   a count of 0.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderSetWriteThreads(ZOPRADocumentLoader* loader, uint32_t count);

/*
 * zopraDocumentLoaderWriteDocumentW
 *   The wide-character form is not supported on this platform.
 * Returns
 *   Always ZOPRA_STATUS_NOT_SUPPORTED, whatever the arguments (NULL included);
 *   nothing is touched.
 */
ZOPRA_DOCUMENT_LOADER_API int32_t zopraDocumentLoaderWriteDocumentW(ZOPRADocumentLoader* loader,
                                                                   const wchar_t* path);

#ifdef __cplusplus
}
#endif

#endif /* ZOPRA_DOCUMENT_LOADER_H */

/* zopra-pdf text and items: the text of pages, as a whole or item by item. */
#define _POSIX_C_SOURCE 200809L

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sys/stat.h>

#include "cli.h"
#include "parallel.h"
#include "zopra_document_loader.h"

/* Writes the text of one page to `out`; returns the library status. */
static int32_t writePageText(ZOPRADocumentLoader* loader, uint32_t page, FILE* out) {
  uint32_t size = 0;
  char* buffer;
  int32_t status = zopraDocumentLoaderGetPageTextSize(loader, &size, page);
  if (status != ZOPRA_STATUS_SUCCESS) return status;
  buffer = malloc(size);
  if (!buffer) return ZOPRA_STATUS_MEMORY_INSUFFICIENT;
  status = zopraDocumentLoaderGetPageText(loader, buffer, size);
  if (status == ZOPRA_STATUS_SUCCESS) fwrite(buffer, 1, size - 1, out);
  free(buffer);
  return status;
}

/* Where the text goes: one OUTPUT for every file (opened at the first file
 * that opens well), or a .txt beside each file. */
typedef struct {
  const char* shared;
  FILE* sharedFile;
  int sharedFailed;
  FILE* out;
  char* fileOutput;
} TextJob;

static int32_t textPage(ZOPRADocumentLoader* loader, const char* path, uint32_t page, FILE* out,
                        void* context) {
  (void)path;
  (void)context;
  return writePageText(loader, page, out);
}

static int beginText(const char* path, uint32_t first, uint32_t last, void* context) {
  TextJob* job = context;
  const char* output = job->shared;
  int result;
  (void)first;
  (void)last;
  if (!output) {
    job->fileOutput = textOutputName(path);
    if (!job->fileOutput) return reportFailure(path, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
    output = job->fileOutput;
  }
  result = strcmp(output, "-") != 0 ? refuseInputAsOutput(path, output) : EXIT_OK;
  if (result == EXIT_OK && job->shared) {
    if (!job->sharedFile && !job->sharedFailed) {
      job->sharedFile = openOutputFile(output);
      job->sharedFailed = job->sharedFile == NULL;
    }
    job->out = job->sharedFile;
  } else if (result == EXIT_OK) {
    job->out = openOutputFile(output);
  }
  if (result == EXIT_OK && !job->out) result = EXIT_WRITE_FAILED;
  if (result != EXIT_OK) {
    free(job->fileOutput);
    job->fileOutput = NULL;
  }
  return result;
}

/* A page that cannot be read is named and left empty; the others are still
 * written, and the exit status tells that some were not. */
static int emitText(const char* path, uint32_t page, const char* data, size_t size, int32_t status,
                    void* context) {
  TextJob* job = context;
  int result = EXIT_OK;
  if (status == ZOPRA_STATUS_SUCCESS) {
    fwrite(data, 1, size, job->out);
  } else {
    fflush(job->out);
    result = reportPageUnread(path, page, status);
  }
  putc('\f', job->out);
  return ferror(job->out) ? EXIT_WRITE_FAILED : result;
}

/* A failed write outranks pages that could not be read. */
static int endText(const char* path, int result, void* context) {
  TextJob* job = context;
  (void)path;
  if (job->fileOutput) {
    if (closeOutputFile(job->out, job->fileOutput) != EXIT_OK) result = EXIT_WRITE_FAILED;
    free(job->fileOutput);
    job->fileOutput = NULL;
  } else if (ferror(job->out)) {
    /* Reported once, when the shared output is closed. */
    result = EXIT_WRITE_FAILED;
  }
  job->out = NULL;
  return result;
}

/* FILE OUTPUT as pdftotext takes them when the second of two names is -, or
 * neither a folder nor a PDF file's name; otherwise every name is an input. */
static int secondIsOutput(const char* const* names, size_t count) {
  struct stat info;
  size_t length;
  if (count != 2) return 0;
  if (strcmp(names[1], "-") == 0) return 1;
  if (stat(names[1], &info) == 0 && S_ISDIR(info.st_mode)) return 0;
  length = strlen(names[1]);
  return !(length > 4 && names[1][length - 4] == '.' && (names[1][length - 3] | 0x20) == 'p' &&
           (names[1][length - 2] | 0x20) == 'd' && (names[1][length - 1] | 0x20) == 'f');
}

int runText(int argc, char** argv) {
  const char** names = malloc((argc ? (size_t)argc : 1) * sizeof *names);
  size_t nameCount = 0;
  PageRange range = {0, 0};
  unsigned jobs = defaultJobs();
  TextJob job = {NULL, NULL, 0, NULL, NULL};
  int legacy;
  PageWork work = {textPage, beginText, emitText, endText, NULL};
  InputList inputs = {NULL, 0};
  int result = EXIT_OK;
  int i;
  if (!names) return reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  for (i = 0; i < argc && result == EXIT_OK; ++i) {
    if (takePageOption(argc, argv, &i, 0, &range, &result) || takeJobsOption(argc, argv, &i, &jobs, &result)) {
      continue;
    } else if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
      printHelp();
      result = EXIT_HELP_SHOWN;
    } else if (strcmp(argv[i], "-o") == 0 && i + 1 < argc) {
      job.shared = argv[++i];
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      result = usageError("unknown option", argv[i]);
    } else {
      names[nameCount++] = argv[i];
    }
  }
  if (result == EXIT_OK && nameCount == 0) result = usageError("no file given", NULL);
  /* FILE OUTPUT names one file, never a folder, as it always has. */
  legacy = result == EXIT_OK && !job.shared && secondIsOutput(names, nameCount);
  if (legacy) job.shared = names[--nameCount];
  if (result == EXIT_OK && job.shared && job.shared[0] == '\0') result = usageError("empty output file name", NULL);
  if (result == EXIT_OK) result = legacy ? listFile(names[0], &inputs) : collectInputs(names, nameCount, &inputs);
  free(names);
  if (result != EXIT_OK) {
    freeInputs(&inputs);
    return result == EXIT_HELP_SHOWN ? EXIT_OK : result;
  }
  work.context = &job;
  result = runPages(&inputs, &range, jobs, !(job.shared && strcmp(job.shared, "-") == 0), &work);
  freeInputs(&inputs);
  if (job.sharedFile && closeOutputFile(job.sharedFile, job.shared) != EXIT_OK) result = EXIT_WRITE_FAILED;
  return result;
}

/* Prints the items of one page; returns the library status. */
static int32_t printItems(ZOPRADocumentLoader* loader, uint32_t page, int json, FILE* out,
                          const char* prefix) {
  uint32_t count = 0;
  uint32_t index;
  int32_t status = zopraDocumentLoaderExtractPageText(loader, page);
  if (status == ZOPRA_STATUS_SUCCESS) status = zopraDocumentLoaderGetPageTextCount(loader, &count, page);
  for (index = 0; status == ZOPRA_STATUS_SUCCESS && index < count; ++index) {
    ZOPRADocumentLoaderTextInfo info;
    char x[64], y[64], size[64], effective[64], width[64];
    double effectiveSize;
    double advance;
    status = zopraDocumentLoaderGetText(loader, &info, index);
    if (status != ZOPRA_STATUS_SUCCESS) break;
    formatNumber(info.e, x, sizeof x);
    formatNumber(info.f, y, sizeof y);
    formatNumber(info.fontSize, size, sizeof size);
    /* a..f is the item's full matrix in page space, without the font size:
     * the text's height on the page is the size times the length of the
     * matrix's y axis (c, d). */
    effectiveSize = info.fontSize * sqrt(info.c * info.c + info.d * info.d);
    formatNumber(effectiveSize, effective, sizeof effective);
    /* The item's advance in page units. */
    advance = info.width * sqrt(info.a * info.a + info.b * info.b);
    formatNumber(advance, width, sizeof width);
    /* Items are numbered from 1, as pages are; erase --items and replace
     * maps take these numbers. */
    if (json) {
      json_t* item = json_object();
      json_object_set_new(item, "page", json_integer(page + 1));
      json_object_set_new(item, "item", json_integer(index + 1));
      json_object_set_new(item, "text", jsonString(info.text));
      json_object_set_new(item, "x", jsonNumber(info.e));
      json_object_set_new(item, "y", jsonNumber(info.f));
      json_object_set_new(item, "font_size", jsonNumber(info.fontSize));
      json_object_set_new(item, "effective_font_size", jsonNumber(effectiveSize));
      json_object_set_new(item, "width", jsonNumber(advance));
      if (index) putc(',', out);
      printJson(out, item);
    } else {
      if (prefix) fprintf(out, "%s\t", prefix);
      fprintf(out, "%lu\t%lu\t%s\t%s\t%s\t%s\t%s\t%s\n", (unsigned long)page + 1,
             (unsigned long)index + 1, x, y, size, effective, width, info.text);
    }
  }
  return status;
}

typedef struct {
  int json;
  /* With several files each line is led by the file's name. */
  int named;
  /* The first page of the file being written. */
  uint32_t first;
} ItemsJob;

static int32_t itemsPage(ZOPRADocumentLoader* loader, const char* path, uint32_t page, FILE* out,
                         void* context) {
  const ItemsJob* job = context;
  return printItems(loader, page, job->json, out, job->named ? path : NULL);
}

/* JSON is written as it goes, page by page: the items of a long document
 * are never all in memory. One object per file, one file per line. */
static int beginItems(const char* path, uint32_t first, uint32_t last, void* context) {
  ItemsJob* job = context;
  (void)last;
  job->first = first;
  if (job->json) {
    fputs("{\"file\":", stdout);
    printJson(stdout, jsonString(path));
    fputs(",\"pages\":[", stdout);
  }
  return EXIT_OK;
}

/* A page that cannot be read is named and skipped (in JSON its item list
 * holds what was printed before the failure); the exit status tells. */
static int emitItems(const char* path, uint32_t page, const char* data, size_t size, int32_t status,
                     void* context) {
  const ItemsJob* job = context;
  if (job->json) printf("%s{\"page\":%lu,\"items\":[", page > job->first ? "," : "", (unsigned long)page + 1);
  fwrite(data, 1, size, stdout);
  if (job->json) fputs("]}", stdout);
  return status == ZOPRA_STATUS_SUCCESS ? EXIT_OK : reportPageUnread(path, page, status);
}

static int endItems(const char* path, int result, void* context) {
  const ItemsJob* job = context;
  (void)path;
  if (job->json) fputs("]}\n", stdout);
  return result;
}

int runItems(int argc, char** argv) {
  const char** names = malloc((argc ? (size_t)argc : 1) * sizeof *names);
  size_t nameCount = 0;
  PageRange range = {0, 0};
  unsigned jobs = defaultJobs();
  ItemsJob job = {0, 0, 0};
  PageWork work = {itemsPage, beginItems, emitItems, endItems, NULL};
  InputList inputs = {NULL, 0};
  int result = EXIT_OK;
  int i;
  if (!names) return reportFailure(PROGRAM, ZOPRA_STATUS_MEMORY_INSUFFICIENT);
  for (i = 0; i < argc && result == EXIT_OK; ++i) {
    if (takePageOption(argc, argv, &i, 1, &range, &result) || takeJobsOption(argc, argv, &i, &jobs, &result)) {
      continue;
    } else if (strcmp(argv[i], "--json") == 0) {
      job.json = 1;
    } else if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
      printHelp();
      result = EXIT_HELP_SHOWN;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      result = usageError("unknown option", argv[i]);
    } else {
      names[nameCount++] = argv[i];
    }
  }
  if (result == EXIT_OK && nameCount == 0) result = usageError("no file given", NULL);
  if (result == EXIT_OK) result = collectInputs(names, nameCount, &inputs);
  /* Several files, or a folder (its files' names differ from the one given). */
  if (result == EXIT_OK) job.named = inputs.count != 1 || strcmp(inputs.paths[0], names[0]) != 0;
  free(names);
  if (result != EXIT_OK) {
    freeInputs(&inputs);
    return result == EXIT_HELP_SHOWN ? EXIT_OK : result;
  }
  work.context = &job;
  result = runPages(&inputs, &range, jobs, 0, &work);
  freeInputs(&inputs);
  return result != EXIT_OK ? result : finishOutput();
}

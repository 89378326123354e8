/* zopra-pdf rewrite: open a document and write it out as a new file. */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "cli.h"
#include "zopra_document_loader.h"

/* True when `output` exists and is the very file `input` names, however the
 * two paths are spelt (links, "./", hard links). */
static int sameFile(const char* input, const char* output) {
  struct stat in;
  struct stat out;
  if (stat(input, &in) != 0 || stat(output, &out) != 0) return 0;
  return in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

int runRewrite(int argc, char** argv) {
  const char* paths[2] = {NULL, NULL};
  int pathCount = 0;
  int onlyFiles = 0;
  ZOPRADocumentLoader* loader = NULL;
  int32_t status;
  int result;
  int i;
  for (i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    if (!onlyFiles && strcmp(argument, "--") == 0) {
      onlyFiles = 1;
    } else if (!onlyFiles && (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0)) {
      printHelp();
      return EXIT_OK;
    } else if (!onlyFiles && argument[0] == '-' && argument[1] != '\0') {
      return usageError("unknown option", argument);
    } else if (pathCount == 2) {
      return usageError("more than two files given", argument);
    } else {
      paths[pathCount++] = argument;
    }
  }
  if (pathCount < 2) return usageError("rewrite needs an input and an output file", NULL);
  if (paths[1][0] == '\0') return usageError("empty output file name", NULL);
  /* The tool keeps the input as it is: a rewrite is a new file. */
  if (sameFile(paths[0], paths[1])) {
    fprintf(stderr, PROGRAM ": %s: refusing to overwrite the input file\n", paths[1]);
    return EXIT_USAGE;
  }

  result = openDocument(paths[0], &loader);
  if (result != EXIT_OK) return result;
  status = zopraDocumentLoaderWriteDocumentA(loader, paths[1]);
  zopraDocumentLoaderDestroy(loader);
  if (status == ZOPRA_STATUS_OTHER_ERROR) {
    fprintf(stderr, PROGRAM ": %s: cannot write the file, or the input is damaged (status %d)\n",
            paths[1], (int)status);
    return EXIT_WRITE_FAILED;
  }
  if (status != ZOPRA_STATUS_SUCCESS) return reportFailure(paths[0], status);
  return EXIT_OK;
}

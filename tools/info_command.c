/* zopra-pdf info: the page count and each page's size and rotation. */
#include <stdio.h>
#include <string.h>

#include "cli.h"
#include "zopra_document_loader.h"

typedef struct {
  int json;
  const char* path;
} InfoOptions;

static int parseInfoArguments(int argc, char** argv, InfoOptions* options) {
  int i;
  int onlyFiles = 0;
  options->json = 0;
  options->path = NULL;
  for (i = 0; i < argc; ++i) {
    const char* argument = argv[i];
    if (!onlyFiles && strcmp(argument, "--") == 0) {
      onlyFiles = 1;
    } else if (!onlyFiles && strcmp(argument, "--json") == 0) {
      options->json = 1;
    } else if (!onlyFiles && (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0)) {
      printHelp();
      return EXIT_HELP_SHOWN;
    } else if (!onlyFiles && argument[0] == '-' && argument[1] != '\0') {
      return usageError("unknown option", argument);
    } else if (options->path) {
      return usageError("more than one file given", argument);
    } else {
      options->path = argument;
    }
  }
  if (!options->path) return usageError("no file given", NULL);
  return EXIT_OK;
}

int runInfo(int argc, char** argv) {
  InfoOptions options;
  ZOPRADocumentLoader* loader = NULL;
  uint32_t count = 0;
  uint32_t page;
  int32_t status;
  json_t* document = NULL;
  json_t* pageList = NULL;
  int result = parseInfoArguments(argc, argv, &options);
  if (result == EXIT_HELP_SHOWN) return EXIT_OK;
  if (result != EXIT_OK) return result;

  result = openDocument(options.path, &loader);
  if (result != EXIT_OK) return result;
  status = zopraDocumentLoaderGetPageCount(loader, &count);
  if (status != ZOPRA_STATUS_SUCCESS) {
    zopraDocumentLoaderDestroy(loader);
    return reportFailure(options.path, status);
  }

  /* JSON is written once the whole object is known. */
  if (options.json) {
    pageList = json_array();
    document = json_object();
    json_object_set_new(document, "file", jsonString(options.path));
    json_object_set_new(document, "page_count", json_integer(count));
    json_object_set(document, "pages", pageList);
  } else {
    printf("pages: %lu\n", (unsigned long)count);
  }
  for (page = 0; page < count && result == EXIT_OK; ++page) {
    double width = 0.0;
    double height = 0.0;
    uint32_t rotation = 0;
    status = zopraDocumentLoaderGetPageSize(loader, &width, &height, &rotation, page);
    if (status != ZOPRA_STATUS_SUCCESS) {
      fflush(stdout);
      result = reportFailure(options.path, status);
    } else if (options.json) {
      json_t* entry = json_object();
      json_object_set_new(entry, "page", json_integer(page + 1));
      json_object_set_new(entry, "width", jsonNumber(width));
      json_object_set_new(entry, "height", jsonNumber(height));
      json_object_set_new(entry, "rotation", json_integer(rotation));
      json_array_append_new(pageList, entry);
    } else {
      char widthText[64];
      char heightText[64];
      formatNumber(width, widthText, sizeof widthText);
      formatNumber(height, heightText, sizeof heightText);
      printf("page %lu: %s x %s, rotation %lu\n", (unsigned long)page + 1, widthText, heightText,
             (unsigned long)rotation);
    }
  }
  if (options.json) {
    printJson(stdout, document);
    putchar('\n');
    json_decref(pageList);
  }
  zopraDocumentLoaderDestroy(loader);
  return result != EXIT_OK ? result : finishOutput();
}


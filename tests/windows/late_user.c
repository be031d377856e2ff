/* A user's program that looks up the library at run time. Usage: late_user DLL DEF
 * Finds every name of the .def file in the DLL, and calls one of them. */

#include <stdio.h>
#include <string.h>
#include <windows.h>

typedef int (*Version)(void);

static int complain(const char* what, const char* why) {
  fprintf(stderr, "%s: %s\n", what, why);
  return 1;
}

/* Returns the number of names, or -1 if one is missing. */
static int count_found(HMODULE library, FILE* names) {
  char name[256];
  int count = 0;
  if (fscanf(names, "%255s", name) != 1 || strcmp(name, "EXPORTS") != 0) return -1;
  while (fscanf(names, " %255s%*[^\n]", name) == 1) {
    if (GetProcAddress(library, name) == NULL) {
      complain(name, "not found");
      return -1;
    }
    ++count;
  }
  return count;
}

int main(int argc, char** argv) {
  HMODULE library;
  FILE* names;
  FARPROC found;
  Version version;
  int count;
  if (argc != 3) return complain("usage", "late_user DLL DEF");
  library = LoadLibraryA(argv[1]);
  if (library == NULL) return complain(argv[1], "cannot be loaded");
  names = fopen(argv[2], "r");
  if (names == NULL) return complain(argv[2], "cannot be read");
  count = count_found(library, names);
  fclose(names);
  found = GetProcAddress(library, "TVLLibraryVersion");
  if (count < 0 || found == NULL) return complain(argv[1], "lacks a name");
  memcpy(&version, &found, sizeof version);
  printf("%d names, version %d\n", count, version());
  return FreeLibrary(library) ? 0 : complain(argv[1], "cannot be unloaded");
}

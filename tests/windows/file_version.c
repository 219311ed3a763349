/* The version that Windows shows of a file is the one given: file_version FILE MAJOR.MINOR.PATCH */
#include <stdio.h>
#include <string.h>
#include <windows.h>

enum { InfoSize = 4096, TextSize = 64 };

static int Fail(const char* words, const char* what) {
  fprintf(stderr, "%s: %s\n", words, what);
  return 1;
}

int main(int argc, char** argv) {
  if (argc != 3) return Fail("usage", "file_version FILE MAJOR.MINOR.PATCH");
  char info[InfoSize];
  if (!GetFileVersionInfoA(argv[1], 0, InfoSize, info)) return Fail("no version", argv[1]);

  void* value = NULL;
  UINT length = 0;
  if (!VerQueryValueA(info, "\\", &value, &length)) return Fail("no fixed version", argv[1]);
  const VS_FIXEDFILEINFO* fixed = value;
  char text[TextSize];
  snprintf(text, sizeof text, "%u.%u.%u", HIWORD(fixed->dwFileVersionMS),
           LOWORD(fixed->dwFileVersionMS), HIWORD(fixed->dwFileVersionLS));
  if (strcmp(text, argv[2]) != 0) return Fail("fixed file version", text);

  static const char* const names[] = {"FileVersion", "ProductVersion"};
  for (size_t i = 0; i < sizeof names / sizeof *names; ++i) {
    snprintf(text, sizeof text, "\\StringFileInfo\\040904B0\\%s", names[i]);
    if (!VerQueryValueA(info, text, &value, &length)) return Fail("no value", names[i]);
    if (strcmp(value, argv[2]) != 0) return Fail(names[i], value);
  }
  printf("%s is version %s\n", argv[1], argv[2]);
  return 0;
}

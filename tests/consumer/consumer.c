/* A host program built against an installed copy of the library: the headers compile as C99, the library
 * links and loads, and it is the version the headers describe. Prints what it found; exits non-zero on a
 * mismatch. */
#include <stdio.h>
#include <string.h>

#include <vorn.h>

static int failures = 0;

static void check(int ok, const char *what) {
  if (!ok) {
    fprintf(stderr, "consumer: %s\n", what);
    ++failures;
  }
}

int main(void) {
  const uint32_t lib = vorn_get_version();
  char text[32];
  snprintf(text, sizeof text, "%u.%u.%u", (unsigned)(lib >> 16), (unsigned)((lib >> 8) & 0xFF),
           (unsigned)(lib & 0xFF));
  check(lib == (uint32_t)VORN_VERSION, "library version differs from the header's");
  check(strcmp(text, VORN_VERSION_STRING) == 0, "version string differs from the packed version");

  check(vorn_init() == VORN_OK, "vorn_init failed");
  vorn_mono_image *m = vorn_mono_image_alloc(33, 7);
  check(m != NULL && m->width == 33 && m->height == 7, "mono image allocation");
  if (m) {
    check(((uintptr_t)m->data & 15) == 0, "image data is not 16-byte aligned");
    vorn_mono_image_free(m);
  }
  check(vorn_release() == VORN_OK, "vorn_release failed");

  printf("consumer: linked VORNBaseLib %s\n", text);
  return failures ? 1 : 0;
}

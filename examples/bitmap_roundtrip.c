/* Makes a colour image, writes it as a 24-bit bitmap file, loads the file back and checks every pixel.
 * Usage: bitmap_roundtrip [OUT.bmp]   (default: vorn_demo.bmp) */
#include <stdio.h>

#include <vorn.h>

int main(int argc, char **argv) {
  const char *path = argc > 1 ? argv[1] : "vorn_demo.bmp";
  const uint32_t w = 33, h = 17;
  uint32_t x, y, bad = 0;
  vorn_image *img;
  vorn_bmp *bmp;
  uint8_t *pix;
  uint32_t stride;

  vorn_init();
  img = vorn_image_alloc(w, h, VORN_FORMAT_RGB);
  if (!img) return 1;
  for (y = 0; y < h; ++y) {
    for (x = 0; x < w; ++x) {
      img->plane[0][y * w + x] = (uint8_t)(x * 255 / (w - 1)); /* red grows to the right */
      img->plane[1][y * w + x] = (uint8_t)(y * 255 / (h - 1)); /* green grows downwards */
      img->plane[2][y * w + x] = (uint8_t)((x ^ y) & 1 ? 200 : 40);
    }
  }
  printf("made a %ux%u RGB image\n", w, h);
  if (vorn_image_save_rgb(img, path) != VORN_OK) return 1;
  printf("wrote %s\n", path);

  bmp = vorn_bmp_load(path);
  if (!bmp) {
    printf("could not load %s back\n", path);
    return 1;
  }
  pix = vorn_bmp_get_image(bmp);
  stride = vorn_bmp_get_stride(bmp);
  printf("loaded %s: %dx%d, %u bits, stride %u bytes\n", path, vorn_bmp_get_width(bmp), vorn_bmp_get_height(bmp),
         vorn_bmp_get_bitcount(bmp), stride);
  for (y = 0; y < h; ++y) {
    const uint8_t *row = pix + (h - 1 - y) * stride; /* rows are stored bottom-up */
    for (x = 0; x < w; ++x) {
      const uint8_t *p = row + 3 * x;
      if (p[2] != img->plane[0][y * w + x] || p[1] != img->plane[1][y * w + x] || p[0] != img->plane[2][y * w + x])
        ++bad;
    }
  }
  printf("%u of %u pixels differ after the round trip\n", bad, w * h);
  vorn_bmp_free(bmp);
  vorn_image_free(img);
  vorn_release();
  return bad == 0 ? 0 : 1;
}

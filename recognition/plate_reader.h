// The plate reader's record, shared by its API, its frame intake and its debug output.
#ifndef VORN_RECOGNITION_PLATE_READER_H
#define VORN_RECOGNITION_PLATE_READER_H

#include "recognition/plate_internal.h"
#include "vorn_bpnn.h"

struct vorn_plate {
  vorn_plate_params params;  // character heights filled in; weights_dir not kept
  vorn_bpnn *nets[3];        // either (36 outputs), digits (10), letters (26)
  vorn_image *frame;         // the last frame, YUV; its Y plane is the grey frame the stages read
  vorn::plate_work work;
  vorn_plate_info info;      // the last frame's reading
  bool has_info;
  vorn_rect best_region;     // the region the reading came from
};

namespace vorn {

// Reads a grey frame of the reader's size into plate->info; VORN_OK or VORN_E_NO_RESULT.
vorn_result plate_read(vorn_plate *plate, const vorn_mono_image *grey);
void plate_classify(vorn_plate *plate, char kind, const double *features, char *c, float *conf);

}  // namespace vorn

#endif

/* vorn.h: the whole VORNBaseLib interface.
 *
 * A flat C interface of plain functions over plain records and opaque handles. Every facility is created by a
 * *_create or *_alloc call, driven once per frame, queried with *_get_* calls and released with *_destroy or
 * *_free (which accept NULL). Operations return a vorn_result (VORN_OK on success). */
#ifndef VORN_H
#define VORN_H

#include "vorn_core.h"
#include "vorn_image.h"
#include "vorn_matrix.h"
#include "vorn_bpnn.h"
#include "vorn_plate.h"
#include "vorn_imgproc.h"
#include "vorn_kalman.h"
#include "vorn_pyramid.h"
#include "vorn_opticalflow.h"
#include "vorn_features.h"
#include "vorn_color.h"
#include "vorn_geometry.h"
#include "vorn_counter.h"
#include "vorn_guard.h"
#include "vorn_obld.h"
#include "vorn_linecount.h"
#include "vorn_kalman.h"
#include "vorn_pyramid.h"
#include "vorn_bpnn.h"
#include "vorn_tracker.h"
#include "vorn_contour.h"
#include "vorn_histogram.h"
#include "vorn_meanshift.h"
#include "vorn_obj_maker.h"
#include "vorn_version.h"
#include "vorn_bk_model.h"
#include "vorn_vbc.h"

#endif /* VORN_H */

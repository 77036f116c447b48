// Result codes as words: the constant's name and one sentence, for messages written by hosts.
#include "vorn_core.h"

namespace {

struct ResultWords {
  vorn_result code;
  const char *name;
  const char *message;
};

const ResultWords kWords[] = {
    {VORN_OK, "VORN_OK", "Success."},
    {VORN_E_NO_RESULT, "VORN_E_NO_RESULT", "The call ran but found nothing to report, or did not converge."},
    {VORN_E_NULL, "VORN_E_NULL", "A required handle or pointer argument is null."},
    {VORN_E_NOMEM, "VORN_E_NOMEM", "Memory could not be obtained, or a required buffer does not exist."},
    {VORN_E_PARAM, "VORN_E_PARAM", "An argument is invalid: a size or format mismatch, or a value out of range."},
    {VORN_E_FILE, "VORN_E_FILE", "A file could not be opened for writing."},
    {VORN_E_LEARNING, "VORN_E_LEARNING", "The background model is still learning; nothing is detected yet."},
    {VORN_E_SCENE_CHANGE, "VORN_E_SCENE_CHANGE", "A scene change was detected; the frame was not processed further."},
};

const ResultWords *find(vorn_result code) {
  for (const ResultWords &w : kWords)
    if (w.code == code) return &w;
  return nullptr;
}

}  // namespace

extern "C" {

VORN_API const char *vorn_result_name(vorn_result code) {
  const ResultWords *w = find(code);
  return w ? w->name : "VORN_E_UNKNOWN";
}

VORN_API const char *vorn_result_message(vorn_result code) {
  const ResultWords *w = find(code);
  return w ? w->message : "Not a result code of this library.";
}

}  // extern "C"

// Test hook of the mixture model.
#ifndef VORN_BKMODEL_BK_MOG_H
#define VORN_BKMODEL_BK_MOG_H

namespace vorn {

// On: models keep and update every pixel's state, whatever the mask (the plain rule); off (the default): only
// the pixels the mask has covered. Read at every frame; outputs are the same either way.
void bk_mog_set_plain(bool on);

}  // namespace vorn

#endif

// What start-up and the statistics query reach in other subsystems: the colour tables and the frame-conversion
// table (color/), and the object counter's event (analytics/).
#ifndef VORN_CORE_INIT_HOOKS_H
#define VORN_CORE_INIT_HOOKS_H

#include <stdint.h>

namespace vorn {

void init_color_tables();                   // colour lookup tables (color/)
void init_frame_table();                    // frame-conversion table (color/)
uint32_t counter_event_word(void *counter);  // the object counter's event word (analytics/)

}  // namespace vorn

#endif

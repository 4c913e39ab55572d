// What leaves libzv_sim: everything else in the tree is built hidden.
#ifndef PLATFORM_SIM_EXPORT_H
#define PLATFORM_SIM_EXPORT_H

#define ZV_SIM_EXPORT [[gnu::visibility("default")]]

#endif

#include "zv_rm_resource.h"

rm_resources_t rm_resource_global = {0, 0, 0};
rm_resources_t rm_resource_global_default = {0, 0, 0};

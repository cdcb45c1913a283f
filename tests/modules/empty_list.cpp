// A library whose list of modules is empty.
#include "nuvra/module.h"

NUVRA_EXPORT_MODULES;

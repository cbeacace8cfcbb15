#include "Probe/Filesystem.h"

namespace orv {}

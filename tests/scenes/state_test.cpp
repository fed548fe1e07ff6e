#include "run_scene.h"

// Everything that the scene reader delivers, in one include.
#pragma once

#include "host/scene/declaration.h"
#include "host/scene/diagnostics.h"
#include "host/scene/elements.h"
#include "host/scene/object.h"
#include "host/scene/receiver.h"
#include "host/scene/values.h"

// The whole document model. The thread rules stand in each header.
#pragma once

#include "document/builder.h"
#include "document/compare.h"
#include "document/file.h"
#include "document/object.h"
#include "document/render.h"
#include "document/value.h"
#include "document/visit.h"

// The whole document model. The thread rules stand in each header.
#pragma once

#include "app/common/document/builder.h"
#include "app/common/document/compare.h"
#include "app/common/document/file.h"
#include "app/common/document/object.h"
#include "app/common/document/render.h"
#include "app/common/document/value.h"
#include "app/common/document/visit.h"

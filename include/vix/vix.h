// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_VIX_H
#define VIX_VIX_H

/// @file
/// The host contract: the whole interface of the framework for plug-ins and host programs.

#include "vix/Buffers.h"
#include "vix/CodecHook.h"
#include "vix/Diagnostics.h"
#include "vix/ElementDriver.h"
#include "vix/ElementPool.h"
#include "vix/Elements.h"
#include "vix/Error.h"
#include "vix/Export.h"
#include "vix/Logging.h"
#include "vix/OrderedPool.h"
#include "vix/Parameters.h"
#include "vix/PixelConversion.h"
#include "vix/PluginLoader.h"
#include "vix/ProResFrame.h"
#include "vix/ProResRates.h"
#include "vix/RawVideoUtils.h"
#include "vix/Registry.h"
#include "vix/RgbMatrix.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"
#include "vix/Version.h"
#include "vix/WorkflowStepImplementation.h"

#endif  // VIX_VIX_H

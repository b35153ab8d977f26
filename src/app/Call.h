#pragma once

#include "core/Args.h"
#include "service/ServiceContext.h"

namespace pelix::app {

// --call FUNCTION [JSON-BODY] [--token TOKEN]: one backend function through the Api; the
// answer object as JSON on standard output (exit 0) or the error's sentence on standard error
// (exit 1).
int runCall(const core::Args& args, service::ServiceContext& backend);

}  // namespace pelix::app

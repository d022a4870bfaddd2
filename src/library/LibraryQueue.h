#pragma once
#include "platform/Dispatch.h"

// The one serial library update queue "com.orvenic.Wavelocker.listUpdate", shared by every
// folder listing and the trash scan.
platform::SerialQueue& fileListUpdateQueue();

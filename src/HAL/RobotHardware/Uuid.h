// The robots' UUIDs differ in their first part only.
#pragma once

#define ZK_UUID(prefix) prefix "-879D-6186-1F49-DECA0E85D9C1"

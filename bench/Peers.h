// The other libraries, where they are installed; the build says which with STP_BENCH_<NAME>.
#pragma once

#ifdef STP_BENCH_PROTOBUF
#include "Peer.pb.h"
#endif
#ifdef STP_BENCH_FLATBUFFERS
#include "Peer_generated.h"
#endif
#ifdef STP_BENCH_ABSL
#include <absl/container/flat_hash_map.h>
#endif
#ifdef STP_BENCH_REDIS
#include <hiredis/hiredis.h>
#endif

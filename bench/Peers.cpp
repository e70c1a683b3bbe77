#include "Peers.h"

#include <boost/version.hpp>
#include <nlohmann/json.hpp>

#include "RedisServer.h"
#include "Results.h"

#ifdef STP_BENCH_ABSL
#include <absl/base/config.h>
#endif

namespace Bench {

namespace {

[[maybe_unused]] std::string dotted(int first, int second, int third) {
  return std::to_string(first) + "." + std::to_string(second) + "." + std::to_string(third);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> peerVersions() {
  const std::string missing = "not measured";
  std::string protobuf = missing;
  std::string flatbuffers = missing;
  std::string absl = missing;
  std::string redis = missing;
  std::string hiredis = missing;
#ifdef STP_BENCH_PROTOBUF
  protobuf = dotted(GOOGLE_PROTOBUF_VERSION / 1000000, GOOGLE_PROTOBUF_VERSION / 1000 % 1000,
                    GOOGLE_PROTOBUF_VERSION % 1000);
#endif
#ifdef STP_BENCH_FLATBUFFERS
  flatbuffers =
      dotted(FLATBUFFERS_VERSION_MAJOR, FLATBUFFERS_VERSION_MINOR, FLATBUFFERS_VERSION_REVISION);
#endif
#ifdef STP_BENCH_ABSL
  absl =
      std::to_string(ABSL_LTS_RELEASE_VERSION) + "." + std::to_string(ABSL_LTS_RELEASE_PATCH_LEVEL);
#endif
#ifdef STP_BENCH_REDIS
  hiredis = dotted(HIREDIS_MAJOR, HIREDIS_MINOR, HIREDIS_PATCH);
  if (RedisServer::installed()) redis = RedisServer().version();
#endif
  return {
      {"protobuf", protobuf},
      {"FlatBuffers", flatbuffers},
      {"boost (signals2)",
       dotted(BOOST_VERSION / 100000, BOOST_VERSION / 100 % 1000, BOOST_VERSION % 100)},
      {"absl (flat_hash_map)", absl},
      {"Redis", redis},
      {"hiredis", hiredis},
      {"nlohmann::json", dotted(NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR,
                                NLOHMANN_JSON_VERSION_PATCH)},
  };
}

}  // namespace Bench

// stptool graph: pictures of the model and of live trees.
#include "Tovo/Path.h"
#include "stptool/commands/Commands.h"
#include "stptool/graph/Graph.h"
#include "stptool/model/FindType.h"
#include "stptool/output/Output.h"

namespace stptool {

namespace {

void writeGraph(const Graph& graph, const GraphOptions& options) {
  writeOut(options.json  ? jsonText(graphJson(graph), 2) + "\n"
           : options.svg ? svgText(graph)
                         : dotText(graph));
}

}  // namespace

void runGraph(const GraphOptions& options) {
  if (options.types) {
    if (!options.path.empty()) {
      throw Failure("graph: --types takes no path, found '" + options.path + "'", ExitCode::usage);
    }
    const Tovo::TovoTypeBase type =
        options.type.empty() ? Tovo::TovoTypeBase() : findEntityType(options.type);
    return writeGraph(typeGraph(type), options);
  }
  if (options.session.socket.empty()) {
    throw Failure("graph: --socket is required without --types", ExitCode::usage);
  }
  ClientSession session(options.session);
  const std::string path = options.path == "/" ? std::string() : options.path;
  session.mirrorOrAll(path, Access::read);
  std::vector<const Tovo::Entity*> roots;
  if (path.empty()) {
    for (const auto& mount : session.directory().mounts()) roots.push_back(mount.second.get());
  } else {
    const Tovo::PathTarget target = Tovo::resolvePath(session.directory(), path);
    if (target.attribute) throw Failure("'" + path + "' is no entity");
    roots.push_back(target.entity.get());
  }
  if (!options.svg) return writeGraph(liveGraph(roots), options);
  Output out;
  writeLiveSvg(roots, [&](std::string_view part) { out.add(part); });
  out.flush();
}

}  // namespace stptool

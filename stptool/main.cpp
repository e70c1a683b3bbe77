// The command line of stptool: options and their help. What the commands do is in commands/.
#include <CLI/CLI.hpp>
#include <csignal>
#include <functional>

#include "Tovo/Assert.h"
#include "stptool/Failure.h"
#include "stptool/ModelLibrary.h"
#include "stptool/commands/Commands.h"
#include "stptool/text/Output.h"

namespace {

using namespace stptool;

struct AllOptions {
  std::vector<std::string> libraries;
  TypesOptions types;
  ParseOptions parse;
  EncodeOptions encode;
  DecodeOptions decode;
  GraphOptions graph;
  ReferenceOptions reference;
  ServeOptions serve;
  StatusOptions status;
  TreeOptions tree;
  GetOptions get;
  SetOptions set;
  NewOptions create;
  DelOptions del;
  WatchOptions watch;
  DumpOptions dump;
  LoadOptions load;
};

class CommandLine {
 public:
  CommandLine() : app_("Looks at, changes and serves trees of entities.", "stptool") {
    app_.require_subcommand(1);
    app_.option_defaults()->always_capture_default(false);
    app_.footer(
        "Exit codes: 0 done, 1 refused or failed, 2 wrong usage, 3 cannot connect.\n"
        "STP_SOCKET in the environment stands for --socket. NO_COLOR switches colour off.\n"
        "'stptool COMMAND --help' shows an example.");
    app_.add_option("--library", options_.libraries,
                    "Model library to load; may stand several times (default: libStp.so)")
        ->type_name("FILE");
    addTypes();
    addParse();
    addEncode();
    addDecode();
    addGraph();
    addReference();
    addServe();
    addStatus();
    addTree();
    addGet();
    addSet();
    addNew();
    addDel();
    addWatch();
    addDump();
    addLoad();
  }

  void run(int argc, char** argv) {
    app_.parse(argc, argv);
    loadModelLibraries(options_.libraries);
    run_();
  }
  int exit(const CLI::Error& error) {
    if (error.get_exit_code() == 0) {
      std::string help = app_.help();
      if (!help.ends_with('\n')) help += '\n';
      writeOut(help);
      return static_cast<int>(ExitCode::done);
    }
    complain(std::string(error.what()) + "; see 'stptool --help'");
    return static_cast<int>(ExitCode::usage);
  }

 private:
  template <class Options>
  CLI::App* command(const char* name, const char* what, const char* example,
                    void (*function)(const Options&), Options& options) {
    CLI::App* command = app_.add_subcommand(name, what);
    command->footer(std::string("Example:\n  ") + example);
    command->fallthrough();
    command->callback([this, function, &options] { run_ = [=, &options] { function(options); }; });
    return command;
  }

  template <class Options>
  static void addJson(CLI::App* command, Options& options, const char* what) {
    command->add_flag("--json", options.json, what);
  }

  static void addSession(CLI::App* command, SessionOptions& session, bool required = true) {
    command->add_option("--socket", session.socket, "Socket of the server")
        ->type_name("PATH")
        ->envname("STP_SOCKET")
        ->required(required);
    command
        ->add_option("--timeout", session.timeout,
                     "Seconds in which the server has to answer (default: 10)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0));
  }

  static CLI::Option* addPath(CLI::App* command, std::string& path, const char* what) {
    return command->add_option("PATH", path, what)->type_name("");
  }

  void addTypes() {
    CLI::App* types = command("types", "Shows the types of the model, or one in detail",
                              "stptool types Stp::MstiPortHw", &runTypes, options_.types);
    types->add_option("TYPE", options_.types.type, "Name of a type; namespaces may be left out")
        ->type_name("");
    addJson(types, options_.types, "Print JSON");
  }

  static void addType(CLI::App* command, std::string& type) {
    command
        ->add_option("TYPE", type,
                     "Name of a value type or enumeration; namespaces may be left out")
        ->type_name("")
        ->required();
  }

  void addParse() {
    CLI::App* parse = command(
        "parse", "Reads a value from its text and shows what it holds",
        "stptool parse Stp::PortId \"Value('Stp::PortId', portPriority=128, portNumber=5)\"",
        &runParse, options_.parse);
    addType(parse, options_.parse.type);
    parse->add_option("TEXT", options_.parse.text, "The value")->type_name("")->required();
    addJson(parse, options_.parse, "Print JSON");
  }

  void addEncode() {
    CLI::App* encode = command("encode", "Shows the bytes of a value in the attribute log",
                               "stptool encode Stp::PathCost 2000", &runEncode, options_.encode);
    addType(encode, options_.encode.type);
    encode->add_option("TEXT", options_.encode.text, "The value")->type_name("")->required();
    addJson(encode, options_.encode, "Print JSON");
  }

  void addDecode() {
    CLI::App* decode = command("decode", "Reads a value from its bytes in the attribute log",
                               "stptool decode Stp::PortId 80 00 05", &runDecode, options_.decode);
    addType(decode, options_.decode.type);
    decode
        ->add_option("HEX", options_.decode.hex,
                     "Pairs of hexadecimal digits; blanks and colons may stand between them")
        ->type_name("");
    addJson(decode, options_.decode, "Print JSON");
  }

  void addGraph() {
    GraphOptions& options = options_.graph;
    CLI::App* graph =
        command("graph", "Draws a live tree, or with --types what types contain each other",
                "stptool graph --types Stp::Config --svg > configuration.svg", &runGraph, options);
    addSession(graph, options.session, false);
    addPath(graph, options.path, "Entity to start at; all without it");
    CLI::Option* types =
        graph
            ->add_option("--types", options.type,
                         "Draw the entity types, from TYPE or all of them; needs no server")
            ->type_name("TYPE")
            ->expected(0, 1);
    CLI::Option* svg = graph->add_flag("--svg", options.svg, "Print SVG; DOT without it");
    graph->add_flag("--json", options.json, "Print nodes and edges as JSON")->excludes(svg);
    graph->callback([this, types, &options] {
      options.types = types->count() > 0;
      run_ = [&options] { runGraph(options); };
    });
  }

  void addReference() {
    ReferenceOptions& options = options_.reference;
    CLI::App* reference = command("reference", "Writes the model as pages to read, one a module",
                                  "stptool reference docs/model", &runReference, options);
    reference->add_option("FOLDER", options.folder, "Where the pages go; made when it is not there")
        ->type_name("")
        ->required();
    reference->add_flag("--html", options.html, "Write HTML; Markdown without it");
  }

  void addServe() {
    ServeOptions& options = options_.serve;
    CLI::App* serve =
        command("serve", "Hosts a tree that others mirror, until a signal comes",
                "stptool serve --socket /run/stp.sock --load state.json", &runServe, options);
    serve->add_option("--socket", options.socket, "Socket to make")
        ->type_name("PATH")
        ->envname("STP_SOCKET")
        ->required();
    serve
        ->add_option("--mode", options.mode,
                     "Mode of the socket: who may connect (default: 0600, only the owner)")
        ->type_name("OCTAL")
        ->check([](const std::string& mode) {
          const bool octal = !mode.empty() && mode.size() <= 4 &&
                             mode.find_first_not_of("01234567") == std::string::npos;
          return octal && (mode.size() < 4 || mode[0] == '0')
                     ? std::string()
                     : "'" + mode + "' is no mode; allowed: 0 to 0777, octal";
        });
    serve
        ->add_option("--allow-write", options.allowWrite,
                     "Who may write besides the owner and root: uid:1000, gid:netadmin; may stand "
                     "several times. Others read")
        ->type_name("WHO");
    serve->add_option("--load", options.load, "JSON file to start from; may stand several times")
        ->type_name("FILE");
    serve->add_option("--dump-at-end", options.dumpAtEnd, "Write the tree there as JSON at the end")
        ->type_name("FILE");
    addJson(serve, options, "Announce the socket as JSON");
  }

  void addStatus() {
    CLI::App* status =
        command("status", "Shows how a server and its connections are: who, what, how far behind",
                "stptool status --json", &runStatus, options_.status);
    addSession(status, options_.status.session);
    addJson(status, options_.status, "Print JSON");
  }

  void addTree() {
    TreeOptions& options = options_.tree;
    CLI::App* tree = command("tree", "Shows a tree, or what is below a path",
                             "stptool tree /stp/hw/mstiHw/Mst0 --depth 1", &runTree, options);
    addSession(tree, options.session);
    addPath(tree, options.path, "Entity to start at; all without it");
    tree->add_option("--depth", options.depth, "Levels of elements to show")
        ->type_name("N")
        ->check(CLI::Range(0, 1000000));
    tree->add_flag("--all", options.all, "What is at its default, and what is empty, too");
    tree->add_flag("--full", options.full, "Values as text that reads back");
    addJson(tree, options, "Print JSON");
  }

  void addGet() {
    GetOptions& options = options_.get;
    CLI::App* get =
        command("get", "Shows the attributes of an entity, some of them, or one value",
                "stptool get /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1 portState", &runGet, options);
    addSession(get, options.session);
    addPath(get, options.path, "Entity, attribute or entry of a collection")->required();
    get->add_option("ATTRIBUTE", options.attributes, "Names of attributes")->type_name("");
    addJson(get, options, "Print JSON");
  }

  void addSet() {
    SetOptions& options = options_.set;
    CLI::App* set = command(
        "set", "Sets attributes; all of them, or none when one is refused",
        "stptool set /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1 portState learning active true",
        &runSet, options);
    addSession(set, options.session);
    addPath(set, options.path, "Entity")->required();
    set->add_option("ATTRIBUTE-VALUE", options.assignments,
                    "Pairs of an attribute, or NAME[KEY] of a collection, and its value")
        ->type_name("")
        ->required();
    addJson(set, options, "Report as JSON");
  }

  void addNew() {
    NewOptions& options = options_.create;
    CLI::App* create =
        command("new", "Makes an element of a collection, or a root entity",
                "stptool new /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet49", &runNew, options);
    addSession(create, options.session);
    addPath(create, options.path, "Path of what is to be made")->required();
    create
        ->add_option("ARGUMENT", options.arguments,
                     "Type of a root; constructor parameters of an element; value of an entry")
        ->type_name("");
    addJson(create, options, "Report as JSON");
  }

  void addDel() {
    DelOptions& options = options_.del;
    CLI::App* del =
        command("del", "Removes an element or an entry of a collection",
                "stptool del /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet49", &runDel, options);
    addSession(del, options.session);
    addPath(del, options.path, "Path of what is to go")->required();
    addJson(del, options, "Report as JSON");
  }

  void addWatch() {
    WatchOptions& options = options_.watch;
    CLI::App* watch = command("watch", "Shows each change as it arrives, until a signal comes",
                              "stptool watch /stp/hw --for 60", &runWatch, options);
    addSession(watch, options.session);
    addPath(watch, options.path, "What to watch; all without it");
    watch->add_option("--count", options.count, "End after so many changes")->type_name("N");
    watch->add_option("--for", options.seconds, "End after so many seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e9));
    watch
        ->add_option("--dump-at-end", options.dumpAtEnd,
                     "Write the mirror there as JSON at the end")
        ->type_name("FILE");
    addJson(watch, options, "Print one JSON object a line");
  }

  void addDump() {
    DumpOptions& options = options_.dump;
    CLI::App* dump = command("dump", "Prints a tree as JSON that 'load' and 'serve' take",
                             "stptool dump /stp/hw > hw.json", &runDump, options);
    addSession(dump, options.session);
    addPath(dump, options.path, "What to print; all without it");
    dump->add_flag_callback(
        "--json", [] {}, "Changes nothing: the output is JSON anyhow");
  }

  void addLoad() {
    LoadOptions& options = options_.load;
    CLI::App* load = command("load", "Brings a JSON file into a live tree; all of it or nothing",
                             "stptool load hw.json", &runLoad, options);
    addSession(load, options.session);
    load->add_option("FILE", options.file, "File to read; - for standard input")
        ->type_name("")
        ->required();
    load->add_flag("--replace", options.replace,
                   "Remove the elements that the file's collections do not mention");
    addJson(load, options, "Report as JSON");
  }

  CLI::App app_;
  AllOptions options_;
  std::function<void()> run_;
};

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  // What a person types, or a peer sends, may fail an assertion; that is one more error.
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  CommandLine commandLine;
  try {
    commandLine.run(argc, argv);
    return static_cast<int>(ExitCode::done);
  } catch (const CLI::Error& error) {
    return commandLine.exit(error);
  } catch (const Failure& failure) {
    complain(failure.what());
    return static_cast<int>(failure.code());
  } catch (const std::exception& error) {
    complain(error.what());
    return static_cast<int>(ExitCode::failed);
  }
}

#include "stptool/commandline/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "stptool/commandline/OptionAdder.h"
#include "stptool/commands/Commands.h"
#include "stptool/model/ModelLibrary.h"
#include "stptool/output/Failure.h"
#include "stptool/output/Output.h"
#include "stptool/text/Suggest.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

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
  RecordOptions record;
  ReplayOptions replay;
};

constexpr double longestTime = 1e9;  // some thirty years

}  // namespace

class CommandLine::Parser {
 public:
  Parser() : app_("Looks at, changes, serves, records and draws trees of entities.", "stptool") {
    tool_.summary =
        "stptool works on trees of entities that a server hosts: a program with such trees, or "
        "'stptool serve'. It knows no type: it loads a library of described types when it starts, "
        "and does the rest by reflection. An entity is named by a path: the path of a root, then "
        "names of collections and keys, such as /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1; a key "
        "with a slash stands in brackets.";
    app_.require_subcommand(1);
    app_.option_defaults()->always_capture_default(false);
    app_.get_formatter()->column_width(26);
    app_.get_formatter()->label("REQUIRED", "");
    OptionAdder global(app_, tool_.options, none_);
    global.option("--library", options_.libraries, "FILE",
                  "Model library to load; may stand several times (default: libStp.so)",
                  Completes::file);
    std::string footer = "Exit codes:\n";
    for (const Meaning& code : exitCodes()) {
      footer += "  " + std::string(code.name) + "  " + code.text + "\n";
    }
    footer += "Environment:\n";
    for (const Meaning& variable : environment()) {
      footer += "  " + std::string(variable.name) + "  " + variable.text + "\n";
    }
    app_.footer(footer + "'stptool COMMAND --help' shows options and examples.");
    // References to descriptions are kept while a command is added.
    tool_.commands.reserve(commandCount);
    addTypes();
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
    addRecord();
    addReplay();
    addDecode();
    addGraph();
    addParse();
    addEncode();
    addReference();
  }

  const ToolDescription& description() const noexcept { return tool_; }

  std::function<void()> parse(int argc, char** argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::Error& error) {
      if (error.get_exit_code() != 0) fail(error);
      std::string help = app_.help();
      if (!help.ends_with('\n')) help += '\n';
      writeOut(help);
      return {};
    }
    loadModelLibraries(options_.libraries);
    return run_;
  }

 private:
  static constexpr size_t commandCount = 32;

  [[noreturn]] void fail(const CLI::Error& error) const {
    const std::vector<CLI::App*> chosen = app_.get_subcommands();
    const CLI::App& app = chosen.empty() ? app_ : *chosen.front();
    const std::string help =
        chosen.empty() ? "'stptool --help'" : "'stptool " + app.get_name() + " --help'";
    const std::vector<std::string> rest = app_.remaining(true);
    if (rest.empty()) throw Failure(std::string(error.what()) + "; see " + help, ExitCode::usage);
    const std::string& wanted = rest.front();
    std::vector<std::string> known{"--help"};
    if (chosen.empty() && !wanted.starts_with('-')) {
      for (const CommandDescription& command : tool_.commands) known.push_back(command.name);
      failWith("there is no command '" + wanted + "'", wanted, known, help);
    }
    for (const CLI::Option* option : app.get_options()) known.push_back(option->get_name());
    for (const CLI::Option* option : app_.get_options()) known.push_back(option->get_name());
    if (!wanted.starts_with('-')) {
      failWith("'" + wanted + "' is one argument too many", {}, known, help);
    }
    const std::string name = wanted.substr(0, wanted.find('='));
    if (std::find(known.begin(), known.end(), name) != known.end()) {
      failWith("'" + name + "' stands behind the command '" + app.get_name() + "'", {}, known,
               help);
    }
    failWith("there is no option '" + wanted + "'", name, known, help);
  }

  [[noreturn]] static void failWith(const std::string& what, const std::string& wanted,
                                    const std::vector<std::string>& known,
                                    const std::string& help) {
    const std::string meant = wanted.empty() ? std::string() : nearest(wanted, known);
    throw Failure(what + (meant.empty() ? "; see " + help : words::didYouMean(meant)),
                  {.value = wanted, .suggestion = meant}, ExitCode::usage);
  }

  template <class Options>
  OptionAdder command(const char* name, const char* summary, void (*function)(const Options&),
                      Options& options, std::vector<Example> examples) {
    CLI::App* app = app_.add_subcommand(name, summary);
    std::string footer = examples.size() == 1 ? "Example:\n" : "Examples:\n";
    for (const Example& example : examples) {
      footer += "  # " + example.what + "\n  " + example.command + "\n";
    }
    footer.pop_back();
    app->footer(footer);
    app->fallthrough();
    app->callback([this, function, &options] { run_ = [=, &options] { function(options); }; });
    tool_.commands.push_back({name, summary, {}, {}, std::move(examples)});
    return {*app, tool_.commands.back().options, tool_.commands.back().positionals};
  }

  template <class Options>
  static void addJson(OptionAdder& command, Options& options, const char* what) {
    command.flag("--json", options.json, what);
  }

  static void addSession(OptionAdder& command, SessionOptions& session, bool required = true) {
    command.option("--socket", session.socket, "PATH", "Socket of the server", Completes::file)
        ->envname("STP_SOCKET")
        ->required(required);
    addTimeouts(command, session.timeout, session.connectTimeout);
  }

  static void addTimeouts(OptionAdder& command, double& timeout, double& connectTimeout) {
    command
        .option("--timeout", timeout, "SECONDS",
                "Seconds in which the server has to answer (default: 10)")
        ->check(within(0.001, 86400.0));
    command
        .option("--connect-timeout", connectTimeout, "SECONDS",
                "Seconds to wait for a socket that is not there yet (default: 2)")
        ->check(within(0.0, 86400.0));
  }

  static void addPath(OptionAdder& command, std::string& path, const char* what) {
    command.positional("PATH", path, what, Completes::path);
  }
  static void addRequiredPath(OptionAdder& command, std::string& path, const char* what) {
    command.required("PATH", path, what, Completes::path);
  }

  static void addValueType(OptionAdder& command, std::string& type) {
    command.required("TYPE", type,
                     "Name of a value type or enumeration; namespaces may be left out",
                     Completes::valueType);
  }

  void addTypes() {
    OptionAdder types = command(
        "types", "Shows the types of the model, or one in detail", &runTypes, options_.types,
        {{"Everything that there is", "stptool types"},
         {"One type: its attributes, ids, defaults and ranges", "stptool types Stp::MstiPortHw"}});
    types.positional("TYPE", options_.types.type, "Name of a type; namespaces may be left out",
                     Completes::type);
    addJson(types, options_.types, "Print JSON");
  }

  void addParse() {
    OptionAdder parse = command(
        "parse", "Reads a value from its text and shows what it holds", &runParse, options_.parse,
        {{"The parts of a port's identifier",
          "stptool parse Stp::PortId \"Value('Stp::PortId', portPriority=128, portNumber=5)\""}});
    addValueType(parse, options_.parse.type);
    parse.required("TEXT", options_.parse.text, "The value");
    addJson(parse, options_.parse, "Print JSON");
  }

  void addEncode() {
    OptionAdder encode =
        command("encode", "Shows the bytes of a value in the attribute log", &runEncode,
                options_.encode, {{"Four bytes, big-endian", "stptool encode Stp::PathCost 2000"}});
    addValueType(encode, options_.encode.type);
    encode.required("TEXT", options_.encode.text, "The value");
    addJson(encode, options_.encode, "Print JSON");
  }

  void addDecode() {
    OptionAdder decode =
        command("decode", "Shows a recording message by message, or a value from its bytes",
                &runDecode, options_.decode,
                {{"What was recorded, with offsets and times", "stptool decode monday.rec"},
                 {"The value that these bytes are", "stptool decode Stp::PortId 80 00 05"}});
    decode.required("FILE-OR-TYPE", options_.decode.what,
                    "A recording, - for standard input; or a type, with HEX behind it",
                    Completes::recordingType);
    decode.positional("HEX", options_.decode.hex,
                      "Pairs of hexadecimal digits; blanks and colons may stand between them");
    addJson(decode, options_.decode, "Print one JSON object a message");
  }

  void addGraph() {
    GraphOptions& options = options_.graph;
    OptionAdder graph =
        command("graph", "Draws a live tree, or with --types what types contain each other",
                &runGraph, options,
                {{"The tree that a server has now", "stptool graph /stp/status --svg > status.svg"},
                 {"What a configuration is made of",
                  "stptool graph --types Stp::Config --svg > configuration.svg"},
                 {"For tools that lay graphs out", "stptool graph | dot -Tpdf > tree.pdf"}});
    addSession(graph, options.session, false);
    addPath(graph, options.path, "Entity to start at; all without it");
    CLI::Option* types =
        graph
            .option("--types", options.type, "TYPE",
                    "Draw the entity types, from TYPE or all of them; needs no server",
                    Completes::entityType)
            ->expected(0, 1);
    CLI::Option* svg = graph.flag("--svg", options.svg, "Print SVG; DOT without it");
    graph.flag("--json", options.json, "Print nodes and edges as JSON")->excludes(svg);
    graph.app().callback([this, types, &options] {
      options.types = types->count() > 0;
      run_ = [&options] { runGraph(options); };
    });
  }

  void addReference() {
    ReferenceOptions& options = options_.reference;
    OptionAdder reference =
        command("reference", "Writes the model as pages to read, one a module", &runReference,
                options, {{"As Markdown", "stptool reference docs/model"}});
    reference.required("FOLDER", options.folder, "Where the pages go; made when it is not there",
                       Completes::file);
    reference.flag("--html", options.html, "Write HTML; Markdown without it");
  }

  void addServe() {
    ServeOptions& options = options_.serve;
    OptionAdder serve =
        command("serve", "Hosts trees that others mirror, until a signal comes", &runServe, options,
                {{"A tree from a file, for others of the same user",
                  "stptool serve --socket /run/stp.sock --load state.json"}});
    serve
        .option("--socket", options.socket, "PATH",
                "Socket to make; needed unless a service manager passes one (LISTEN_FDS)",
                Completes::file)
        ->envname("STP_SOCKET");
    serve
        .option("--mode", options.mode, "OCTAL",
                "Mode of the socket: who may connect (default: 0600, only the owner)")
        ->check([](const std::string& mode) {
          const bool octal = !mode.empty() && mode.size() <= 4 &&
                             mode.find_first_not_of("01234567") == std::string::npos;
          return octal && (mode.size() < 4 || mode[0] == '0')
                     ? std::string()
                     : "'" + mode + "' is no mode; allowed: 0 to 0777, octal";
        });
    serve.option("--allow-write", options.allowWrite, "WHO",
                 "Who may write besides the owner and root: uid:1000, gid:netadmin; may stand "
                 "several times. Others read");
    serve
        .option("--max-clients", options.clients.all, "N",
                "Connections at a time; who comes beyond is turned away (default: 2048)")
        ->check(within<size_t>(1, 1000000));
    serve
        .option("--max-clients-per-user", options.clients.ofOneUser, "N",
                "Of them, those of one user (default: 1024)")
        ->check(within<size_t>(1, 1000000));
    serve
        .option("--max-memory", options.mebibytes, "MIB",
                "What all connections may hold together; who needs more is told so and closed "
                "(default: 1024)")
        ->check(within<size_t>(1, 1 << 20));
    serve
        .option("--max-memory-per-user", options.mebibytesOfOneUser, "MIB",
                "Of it, what those of one user may hold (default: 512)")
        ->check(within<size_t>(1, 1 << 20));
    serve
        .option("--ready-fd", options.readyFd, "N",
                "Descriptor that gets the line 'ready', and is closed, when clients may come")
        ->check(within(3, 1000000));
    serve.option("--load", options.load, "FILE", "JSON file to start from; may stand several times",
                 Completes::file);
    serve.option("--dump-at-end", options.dumpAtEnd, "FILE",
                 "Write the tree there as JSON at the end", Completes::file);
    addJson(serve, options, "Announce the socket as JSON");
  }

  void addStatus() {
    StatusOptions& options = options_.status;
    OptionAdder status =
        command("status", "Shows how a server and its connections are: who, what, how far behind",
                &runStatus, options, {{"For a script", "stptool status --json"}});
    addSession(status, options.session);
    addJson(status, options, "Print JSON");
  }

  void addTree() {
    TreeOptions& options = options_.tree;
    OptionAdder tree = command("tree", "Shows a tree, or what is below a path", &runTree, options,
                               {{"All that is not at its default", "stptool tree"},
                                {"One instance, without what is below its ports",
                                 "stptool tree /stp/hw/mstiHw/Mst0 --depth 1"}});
    addSession(tree, options.session);
    addPath(tree, options.path, "Entity to start at; all without it");
    tree.option("--depth", options.depth, "N", "Levels of elements to show")
        ->check(within(0, 1000000));
    tree.flag("--all", options.all, "What is at its default, and what is empty, too");
    tree.flag("--full", options.full, "Values as text that reads back");
    addJson(tree, options, "Print JSON");
  }

  void addGet() {
    GetOptions& options = options_.get;
    OptionAdder get = command(
        "get", "Shows the attributes of an entity, some of them, or one value", &runGet, options,
        {{"A bare value, for scripts",
          "stptool get /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1 portState"},
         {"All attributes", "stptool get /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1"}});
    addSession(get, options.session);
    addRequiredPath(get, options.path, "Entity, attribute or entry of a collection");
    get.positional("ATTRIBUTE", options.attributes, "Names of attributes", Completes::attribute);
    addJson(get, options, "Print JSON");
  }

  void addSet() {
    SetOptions& options = options_.set;
    OptionAdder set = command(
        "set", "Sets attributes; all of them, or none when one is refused", &runSet, options,
        {{"Two at once",
          "stptool set /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet1 portState learning active true"}});
    addSession(set, options.session);
    addRequiredPath(set, options.path, "Entity");
    set.required("ATTRIBUTE-VALUE", options.assignments,
                 "Pairs of an attribute, or NAME[KEY] of a collection, and its value",
                 Completes::assignment);
    addJson(set, options, "Report as JSON");
  }

  void addNew() {
    NewOptions& options = options_.create;
    OptionAdder create =
        command("new", "Makes an element of a collection, or a root entity", &runNew, options,
                {{"An element", "stptool new /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet49"},
                 {"A root", "stptool new /stp/lab Stp::Hw"}});
    addSession(create, options.session);
    addRequiredPath(create, options.path, "Path of what is to be made");
    create.positional("ARGUMENT", options.arguments,
                      "Type of a root, then its constructor parameters; those of an element; the "
                      "value of an entry",
                      Completes::newArgument);
    addJson(create, options, "Report as JSON");
  }

  void addDel() {
    DelOptions& options = options_.del;
    OptionAdder del =
        command("del", "Removes an element, an entry of a collection, or a root", &runDel, options,
                {{"An element with all below it",
                  "stptool del /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet49"}});
    addSession(del, options.session);
    addRequiredPath(del, options.path, "Path of what is to go");
    addJson(del, options, "Report as JSON");
  }

  void addWatch() {
    WatchOptions& options = options_.watch;
    OptionAdder watch = command("watch", "Shows each change as it arrives, until a signal comes",
                                &runWatch, options,
                                {{"Everything for a minute", "stptool watch --for 60"},
                                 {"The states of all ports of an instance, wherever they are",
                                  "stptool watch '/stp/**/Mst1/**' --attribute '*tate'"},
                                 {"What changes most", "stptool watch --rate --for 10"}});
    addSession(watch, options.session);
    watch.positional("PATH", options.path,
                     "What to watch, all without it; * stands for one name or key, ** for any "
                     "number of them",
                     Completes::path);
    watch.option("--attribute", options.attributes, "NAME",
                 "Only this attribute; * stands for any characters; may stand several times");
    watch.flag("--rate", options.rate,
               "Show how often things change instead: the most frequent ones, each second");
    watch.option("--top", options.top, "N", "Lines that --rate shows (default: 10)")
        ->check(within(1, 100000));
    watch.option("--count", options.count, "N", "End after so many changes")
        ->check(within<uint64_t>(1, 1'000'000'000'000));
    watch.option("--for", options.seconds, "SECONDS", "End after so many seconds")
        ->check(within(0.0, longestTime));
    watch.option("--dump-at-end", options.dumpAtEnd, "FILE",
                 "Write the mirror there as JSON at the end", Completes::file);
    addJson(watch, options, "Print one JSON object a line");
  }

  void addDump() {
    DumpOptions& options = options_.dump;
    OptionAdder dump =
        command("dump", "Prints a tree as JSON that 'load' and 'serve' take", &runDump, options,
                {{"A part of the tree", "stptool dump /stp/hw > hw.json"}});
    addSession(dump, options.session);
    addPath(dump, options.path, "What to print; all without it");
    dump.flag("--json", options.json, "Errors as JSON; the output is JSON anyhow");
  }

  void addLoad() {
    LoadOptions& options = options_.load;
    OptionAdder load = command(
        "load", "Brings a JSON file into a live tree; all of it or nothing", &runLoad, options,
        {{"Make what is missing, set what is mentioned", "stptool load hw.json"},
         {"Also remove what the file does not have", "stptool load hw.json --replace"},
         {"Take a dump as it is", "stptool load dump.json --replace --restore"}});
    addSession(load, options.session);
    load.required("FILE", options.file, "File to read; - for standard input", Completes::file);
    load.flag("--replace", options.replace,
              "Remove the elements that the file's collections do not mention");
    load.flag("--restore", options.restore,
              "Take values outside their ranges, unknown numbers of enumerations and what only its "
              "owner sets too, with a warning; without it, they are refused");
    addJson(load, options, "Report as JSON");
  }

  void addRecord() {
    RecordOptions& options = options_.record;
    OptionAdder record =
        command("record", "Writes what the server says to a file, until a signal comes", &runRecord,
                options, {{"A minute of everything", "stptool record monday.rec --for 60"}});
    addSession(record, options.session);
    record.required("FILE", options.file, "File to write", Completes::file);
    addPath(record, options.path, "What to record; all without it");
    record.option("--for", options.seconds, "SECONDS", "End after so many seconds")
        ->check(within(0.0, longestTime));
    record
        .option("--until-idle", options.untilIdle, "SECONDS",
                "End when nothing came for so many seconds")
        ->check(within(0.001, longestTime));
    record.flag("--force", options.force, "Overwrite a file that is there");
    addJson(record, options, "Report as JSON");
  }

  void addReplay() {
    ReplayOptions& options = options_.replay;
    OptionAdder replay = command(
        "replay", "Plays a recording again: prints its changes, or makes them", &runReplay, options,
        {{"The changes, ten times as fast", "stptool replay monday.rec --speed 10"},
         {"Another server gets the recorded trees",
          "stptool replay monday.rec --into /run/lab.sock --fast"}});
    replay.required("FILE", options.file, "Recording; - for standard input", Completes::file);
    replay.option("--into", options.into, "PATH",
                  "Socket of a server whose trees are to become the recorded ones",
                  Completes::file);
    addTimeouts(replay, options.timeout, options.connectTimeout);
    CLI::Option* fast = replay.flag("--fast", options.fast, "Do not wait as the recorder did");
    replay.option("--speed", options.speed, "N", "So many times as fast as it was (default: 1)")
        ->check(within(0.001, 1e6))
        ->excludes(fast);
    addJson(replay, options, "Print one JSON object a line");
  }

  CLI::App app_;
  ToolDescription tool_;
  std::vector<OptionDescription> none_;
  AllOptions options_;
  std::function<void()> run_;
};

CommandLine::CommandLine() : parser_(std::make_unique<Parser>()) {}
CommandLine::~CommandLine() = default;

const ToolDescription& CommandLine::description() const noexcept { return parser_->description(); }

std::function<void()> CommandLine::parse(int argc, char** argv) {
  return parser_->parse(argc, argv);
}

}  // namespace stptool

// stptool decode FILE: a recording, message by message.
#include "Mirror/control/Messages.h"
#include "Mirror/log/BaseMessage.h"
#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/Printable.h"
#include "stptool/commands/Commands.h"
#include "stptool/commands/RootObservers.h"
#include "stptool/json/Dump.h"
#include "stptool/model/TypedText.h"
#include "stptool/output/Output.h"
#include "stptool/recording/RecordingFile.h"
#include "stptool/text/Style.h"
#include "stptool/text/TimeText.h"
#include "stptool/tree/ChangeText.h"

namespace stptool {

namespace {

namespace Control = Tovo::NboAttrLog::Control;
namespace BaseMessage = Tovo::NboAttrLog::BaseMessage;
using Reader = PlayedRecording::Reader;
using Tovo::Attribute;
using Tovo::AttributeKind;

// What a message is about, before it is applied.
struct Subject {
  std::string message;  // its kind, in a word
  std::string path;
  std::string attribute;
  std::string key;
  std::string note;
};

class Decoder {
 public:
  explicit Decoder(const DecodeOptions& options)
      : options_(options),
        recording_(options.what, directory_),
        observers_([this](const Pelmo::Change& change) { note(change); }) {}

  void run() {
    out_.flushBehind([this] {
      while (const Reader::Message* message = recording_.next()) {
        if (!show(*message)) return;
      }
    });
  }

 private:
  void note(const Pelmo::Change& change) {
    const bool isTarget = &Tovo::entityOf(change.source) == target_;
    if (std::optional<ChangeEvent> event =
            changeEvent(change, options_.json, isTarget ? &targetPath_ : nullptr)) {
      changes_.push_back(std::move(*event));
    }
  }

  bool show(const Reader::Message& message) {
    changes_.clear();
    Subject subject;
    try {
      subject = message.entity == 0 ? controlSubject(message) : subjectOf(message);
    } catch (const Tovo::StreamException&) {
      // Says it again, with its place, when it is applied.
    }
    recording_.apply();
    if (message.entity == 0) {
      observers_.update(directory_);
      targetNumber_ = 0;
      target_ = nullptr;
    }
    if (options_.json) {
      out_.add(lineOf(json(message, subject)));
    } else {
      out_.add(text(message, subject));
    }
    return !out_.readerGone();
  }

  // --- what the bytes say ----------------------------------------------------------------------

  static Subject controlSubject(const Reader::Message& message) {
    Tovo::NboAttrLog::In in = message.payload;
    switch (message.id) {
      case Control::greeting.id:
        return {"modules", {}, {}, {}, modulesText(std::get<2>(Control::greeting.read(in)))};
      case Control::mounted.id: {
        auto [path, readOnly, type, number, constructor] = Control::mounted.read(in);
        return {Control::mounted.name, std::move(path), {}, {}, std::move(type)};
      }
      case Control::unmounted.id:
        return {Control::unmounted.name, std::get<0>(Control::unmounted.read(in)), {}, {}, {}};
      case Control::goodBye.id:
        return {"end", {}, {}, {}, std::get<0>(Control::goodBye.read(in))};
      default:
        return {Control::nameOf(message.id), {}, {}, {}, {}};
    }
  }

  static std::string modulesText(Tovo::NboAttrLog::In in) {
    std::string text;
    for (uint16_t left = in.nextU16(); left > 0; --left) {
      text += (text.empty() ? "" : ", ") + Control::Text::read(in);
      text += " " + Control::Text::read(in);
    }
    return text;
  }

  // Messages come entity by entity: the path of the last one is mostly that of the next one.
  const std::string& pathOf(uint32_t number, const Tovo::Entity& entity) {
    if (number != targetNumber_) targetPath_ = Tovo::pathOf(entity);
    targetNumber_ = number;
    target_ = &entity;
    return targetPath_;
  }

  Subject subjectOf(const Reader::Message& message) {
    const uint32_t number = message.entity & ~Tovo::NboAttrLog::ofPeer;
    const Tovo::Entity* entity = recording_.reader().numbers().entity(message.entity);
    if (!entity) {
      return {"skipped", {}, {}, {}, "entity " + std::to_string(number) + ", which is gone"};
    }
    Subject subject{{}, pathOf(message.entity, *entity), {}, {}, {}};
    Tovo::NboAttrLog::In in = message.payload;
    const Tovo::TovoTypeBase type = entity->tovoType();
    if (message.id == BaseMessage::beginCollection || message.id == BaseMessage::endCollection) {
      subject.message = message.id == BaseMessage::beginCollection ? "begin" : "end";
      const Attribute collection = Tovo::attributeById(type, in.nextU16());
      if (collection) subject.attribute = collection.name();
      return subject;
    }
    if (message.id == BaseMessage::values) {
      describeValues(subject, type, in);
      return subject;
    }
    const Attribute attribute = Tovo::attributeById(type, message.id);
    const Attribute removed = Tovo::attributeById(type, Tovo::removalId(message.id));
    if (attribute && attribute.isLogged()) {
      subject.message = "value";
      describe(subject, attribute, in);
    } else if (!attribute && removed && removed.isCollection()) {
      subject.message = "removal";
      subject.attribute = removed.name();
      subject.key = keyText(removed, in);
    } else {
      subject.message = "skipped";
      subject.note = "attribute " + std::to_string(message.id) + ", which a " +
                     Tovo::typeName(type) + " does not have";
    }
    return subject;
  }

  static std::string keyText(Attribute collection, Tovo::NboAttrLog::In& in) {
    Tovo::ValueBuffer key(collection.keyOps());
    key.read(in);
    return typedText(collection.keyOps(), key.get());
  }

  // Where a message changes nothing, its own words are shown.
  void describe(Subject& subject, Attribute attribute, Tovo::NboAttrLog::In& in) const {
    subject.attribute = attribute.name();
    if (attribute.isCollection()) subject.key = keyText(attribute, in);
    switch (attribute.kind()) {
      case AttributeKind::ownCollection:
        subject.path += "/" + subject.attribute;
        Tovo::appendKey(subject.path, subject.key);
        subject.attribute.clear();
        subject.key.clear();
        subject.message = "element";
        return;
      case AttributeKind::pointer:
      case AttributeKind::refCollection:
        subject.note = referenceText(in.nextU32());
        return;
      default: {
        Tovo::ValueBuffer value(attribute.ops());
        value.read(in);
        subject.note = Tovo::valueText(attribute.ops(), value.get());
      }
    }
  }

  static void describeValues(Subject& subject, Tovo::TovoTypeBase type, Tovo::NboAttrLog::In& in) {
    const Attribute first = Tovo::attributeById(type, in.nextU16());
    const Attribute last = Tovo::attributeById(type, in.nextU16());
    if (!first || !last || !first.isLogged() || !last.isLogged()) {
      subject.message = "skipped";
      subject.note = "values of attributes, some of which a " + std::string(Tovo::typeName(type)) +
                     " does not have";
      return;
    }
    subject.message = "values";
    Tovo::forEachAttribute(type, [&](Attribute attribute) {
      if (attribute.id() < first.id() || attribute.id() > last.id() || !attribute.isLogged()) {
        return;
      }
      if (attribute.kind() != AttributeKind::attribute) {
        throw Tovo::StreamException("'" + std::string(attribute.name()) + "' among values");
      }
      Tovo::ValueBuffer value(attribute.ops());
      value.read(in);
      subject.note += (subject.note.empty() ? "" : ", ") + std::string(attribute.name()) + " = " +
                      Tovo::valueText(attribute.ops(), value.get());
    });
  }

  std::string referenceText(uint32_t number) const {
    if (number == 0) return "None";
    const Tovo::NboAttrLog::Numbers& numbers = recording_.reader().numbers();
    if (const Tovo::Entity* target = numbers.entity(numbers.received(number))) {
      return Tovo::pathOf(*target);
    }
    return "entity " + std::to_string(number) + ", which is still to come";
  }

  // --- how it is shown -------------------------------------------------------------------------

  std::string text(const Reader::Message& message, const Subject& subject) const {
    if (subject.message == "time") return {};
    const std::string offset = std::to_string(message.offset);
    constexpr size_t offsetWidth = 10;
    std::string head(offset.size() < offsetWidth ? offsetWidth - offset.size() : 0, ' ');
    head += styled(Style::number, offset) + "  ";
    if (recording_.reader().isTimed()) {
      head += styled(Style::number, localTime(recording_.reader().time())) + "  ";
    }
    size_t shown = 0;
    std::string line = head;
    if ((subject.message == "value" || subject.message == "values" ||
         subject.message == "element" || subject.message == "removal") &&
        !changes_.empty()) {
      line += changeText(changes_[shown++]) + "\n";
    } else {
      line += subjectText(subject) + "\n";
    }
    const std::string below(offsetWidth + 2 + (recording_.reader().isTimed() ? 14 : 0) + 2, ' ');
    while (shown < changes_.size()) line += below + changeText(changes_[shown++]) + "\n";
    return line;
  }

  static std::string subjectText(const Subject& subject) {
    std::string line = Tovo::printable(subject.path);
    const auto add = [&](const std::string& part) {
      if (!part.empty()) line += (line.empty() ? "" : "  ") + part;
    };
    std::string attribute = subject.attribute;
    if (!subject.key.empty()) attribute += "[" + subject.key + "]";
    add(styled(Style::name, Tovo::printable(attribute)));
    if (subject.message == "value") {
      add("= " + Tovo::printable(subject.note));
      return line;
    }
    if (subject.message == "element") add("is there");
    if (subject.message == "removal") add("is gone");
    if (subject.message == "begin") add("all of it follows");
    if (subject.message == "end" && !subject.path.empty()) add("that was all of it");
    const bool isWord = subject.message == "modules" || subject.message == "turn" ||
                        subject.message == "skipped" || subject.message == "mounted" ||
                        subject.message == "unmounted" ||
                        (subject.message == "end" && subject.path.empty());
    if (isWord) add(styled(Style::type, subject.message));
    add(Tovo::printable(subject.note));
    return line;
  }

  Json json(const Reader::Message& message, const Subject& subject) const {
    Json json = Json::object();
    json["offset"] = message.offset;
    json["bytes"] = message.size;
    if (recording_.reader().isTimed()) json["time"] = universalTime(recording_.reader().time());
    json["message"] = subject.message;
    if (!subject.path.empty()) json["path"] = subject.path;
    if (!subject.attribute.empty()) json["attribute"] = subject.attribute;
    if (!subject.key.empty()) json["key"] = subject.key;
    if (!subject.note.empty()) json["note"] = subject.note;
    json["changes"] = Json::array();
    for (const ChangeEvent& change : changes_) {
      Json entry = Json::object();
      addChange(entry, change);
      json["changes"].push_back(std::move(entry));
    }
    return json;
  }

  const DecodeOptions& options_;
  Tovo::Directory directory_;
  PlayedRecording recording_;
  RootObservers observers_;
  std::vector<ChangeEvent> changes_;
  const Tovo::Entity* target_ = nullptr;  // of the last message, by its number
  uint32_t targetNumber_ = 0;
  std::string targetPath_;
  Output out_;
};

}  // namespace

void decodeRecording(const DecodeOptions& options) { Decoder(options).run(); }

}  // namespace stptool

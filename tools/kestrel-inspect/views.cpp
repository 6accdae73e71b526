// The terminal and HTML views of the report tree.
#include <string>
#include <vector>

#include "inspection.h"

namespace inspect {
namespace {

constexpr size_t kColumns = 80;

// The members of an object as "name: value, name: value".
std::string Members(const cJSON* object) {
  std::string text;
  const cJSON* member = nullptr;
  cJSON_ArrayForEach(member, object) {
    if (!text.empty()) text += ", ";
    text += std::string(member->string ? member->string : "") + ": " + Scalar(member);
  }
  return text;
}

size_t Columns(const std::string& text) {
  size_t count = 0;
  for (unsigned char c : text) count += (c & 0xC0) != 0x80;
  return count;
}

class Terminal {
 public:
  // text wrapped at blanks into lines of kColumns, the first indented by
  // indent, the others by indent + 2; a word longer than a line stands alone.
  // The text's own line breaks start continuation lines.
  void Line(size_t indent, const std::string& text) {
    size_t from = 0;
    for (size_t end; (end = text.find('\n', from)) != std::string::npos; from = end + 1) {
      std::string part = text.substr(from, end - from);
      if (!part.empty() && part.back() == '\r') part.pop_back();
      Wrap(from == 0 ? indent : indent + 2, part);
    }
    Wrap(from == 0 ? indent : indent + 2, text.substr(from));
  }
  void Wrap(size_t indent, const std::string& text) {
    std::string line(indent, ' ');
    bool empty = true;  // nothing on the line but its indent
    const auto flush = [&] {
      out_ += line + "\n";
      line = std::string(indent + 2, ' ');
      empty = true;
    };
    for (size_t start = 0; start <= text.size();) {
      size_t end = text.find(' ', start);
      if (end == std::string::npos) end = text.size();
      std::string word = text.substr(start, end - start);
      start = end + 1;
      if (!empty && Columns(line) + 1 + Columns(word) > kColumns) flush();
      // A word longer than a line (a path) is cut after a separator.
      while (Columns(line) + Columns(word) > kColumns) {
        const size_t room = kColumns - Columns(line);
        size_t cut = word.find_last_of("\\/", room - 1);
        if (cut == std::string::npos || cut == 0) cut = room - 1;
        while (cut > 0 && cut + 1 < word.size() && (static_cast<unsigned char>(word[cut + 1]) & 0xC0) == 0x80) --cut;
        line += word.substr(0, cut + 1);
        word.erase(0, cut + 1);
        flush();
      }
      line += (empty ? "" : " ") + word;
      empty = false;
    }
    out_ += line + "\n";
  }
  void Blank() { out_ += "\n"; }
  std::string out_;
};

std::string IconLabel(const cJSON* number) {
  return number ? "icon" + Scalar(number) : "no icon";
}

}  // namespace

std::string TerminalView(const cJSON* report) {
  Terminal t;
  t.Line(0, "kestrel-inspect " + Text(report, "volume"));
  if (const cJSON* error = Member(report, "error")) {
    t.Line(2, Scalar(error));
    return t.out_;
  }
  const cJSON* identity = Member(report, "identity");
  t.Blank();
  t.Line(0, "Volume");
  t.Line(2, "AppId folder  " + Scalar(Member(identity, "appId")));
  const cJSON* copy = nullptr;
  cJSON_ArrayForEach(copy, Member(identity, "metaYml"))
      t.Line(2, "VolumeID      " + Scalar(Member(copy, "volumeId")) + "  (_meta.yml, " + Text(copy, "copy") + " copy)");
  const cJSON* state = Member(identity, "state");
  if (cJSON_IsObject(state)) {
    t.Line(2, "Resume state  " + Text(state, "path"));
    t.Line(4, Members(state));
  } else {
    t.Line(2, "Resume state  none");
  }
  t.Line(2, "Notes         " + Scalar(Member(identity, "notes")));
  t.Line(2, "Silent        " + Members(Member(identity, "silentMarkers")));

  const cJSON* apps = Member(report, "applications");
  t.Blank();
  t.Line(0, "Applications in _meta.yml (" + std::to_string(cJSON_GetArraySize(apps)) + ")");
  const cJSON* app = nullptr;
  cJSON_ArrayForEach(app, apps) {
    const cJSON* ico = Member(app, "icoFile");
    t.Line(2, Text(app, "name") + " " + Text(app, "version") + "  " + Text(app, "publisher") +
                  (Text(app, "systemComponent") == "1" ? "  (system component)" : "") +
                  (cJSON_IsObject(ico) ? "  .ico " + Scalar(Member(ico, "bytes")) + " bytes" : ""));
  }

  const cJSON* document = Member(report, "document");
  t.Blank();
  if (!cJSON_IsObject(document)) {
    t.Line(0, "metadata.json: none");
  } else {
    t.Line(0, "metadata.json " + Text(document, "path"));
    t.Line(2, "volumeID " + Text(document, "volumeID"));
    const cJSON* bundle = nullptr;
    cJSON_ArrayForEach(bundle, Member(document, "bundles")) {
      t.Line(2, "Bundle " + Text(bundle, "guid") + "  " + Text(bundle, "name") + " " + Text(bundle, "version") +
                    " by " + Text(bundle, "author"));
      std::string chain;
      const cJSON* link = nullptr;
      cJSON_ArrayForEach(link, Member(bundle, "derivation")) chain += Scalar(link) + " -> ";
      t.Line(4, "derivation: " + (chain.empty() ? std::string("none (a first capture)") : chain + "this package"));
      t.Line(4, "Applications (" + std::to_string(cJSON_GetArraySize(Member(bundle, "apps"))) + ")");
      cJSON_ArrayForEach(app, Member(bundle, "apps"))
          t.Line(6, Text(app, "name") + " " + Text(app, "version") + "  " + Text(app, "publisher") + "  " +
                        IconLabel(Member(app, "iconIndex")));
      t.Line(4, "Shortcuts (" + std::to_string(cJSON_GetArraySize(Member(bundle, "shortcuts"))) + ")");
      const cJSON* shortcut = nullptr;
      cJSON_ArrayForEach(shortcut, Member(bundle, "shortcuts")) {
        t.Line(6, Text(shortcut, "name") + "  " + IconLabel(Member(shortcut, "iconIndex")) + "  " +
                      Text(shortcut, "path"));
        const cJSON* target = Member(shortcut, "target_app");
        std::string more;
        for (const char* member : {"publisher", "product_version"}) {
          if (const cJSON* value = Member(shortcut, member)) more += std::string("  ") + member + " " + Scalar(value);
        }
        t.Line(8, "launch_id " + Text(shortcut, "launch_id") + (target ? "  target_app " + Scalar(target) : "") + more);
      }
      const cJSON* registrations = Member(bundle, "registrations");
      const cJSON* fta = Member(registrations, "fta");
      t.Line(4, "File types (" + std::to_string(cJSON_GetArraySize(fta)) + ")");
      const cJSON* type = nullptr;
      cJSON_ArrayForEach(type, fta) t.Line(6, Text(type, "name") + "  " + Text(type, "prog_id"));
      const cJSON* progId = nullptr;
      t.Line(4, "ProgIDs (" + std::to_string(cJSON_GetArraySize(Member(registrations, "prog_ids"))) + ")");
      cJSON_ArrayForEach(progId, Member(registrations, "prog_ids")) {
        std::string verbs;
        const cJSON* verb = nullptr;
        cJSON_ArrayForEach(verb, Member(progId, "verbs")) {
          verbs += (verbs.empty() ? "" : ", ") + Text(verb, "name");
          if (const cJSON* target = Member(verb, "target_app")) verbs += " -> target " + Scalar(target);
        }
        t.Line(6, Text(progId, "name") + "  \"" + Text(progId, "desc") + "\"  " +
                      IconLabel(Member(progId, "default_icon")) + "  verbs: " + (verbs.empty() ? "none" : verbs));
      }
      const cJSON* list = nullptr;
      cJSON_ArrayForEach(list, registrations) {
        const std::string name = list->string;
        if (name == "fta" || name == "prog_ids") continue;
        t.Line(4, name + " (" + std::to_string(cJSON_GetArraySize(list)) + ")");
        const cJSON* item = nullptr;
        cJSON_ArrayForEach(item, list) t.Line(6, Members(item));
      }
    }
    t.Line(2, "Icons (" + std::to_string(cJSON_GetArraySize(Member(document, "icons"))) + ")");
    const cJSON* icon = nullptr;
    cJSON_ArrayForEach(icon, Member(document, "icons")) {
      std::string line = Text(icon, "name") + "  " + Text(icon, "type");
      if (const cJSON* bytes = Member(icon, "bytes")) line += "  " + Scalar(bytes) + " bytes";
      if (const cJSON* width = Member(icon, "width"))
        line += "  " + Text(icon, "format") + " " + Scalar(width) + "x" + Scalar(Member(icon, "height"));
      t.Line(4, line);
    }
    for (const char* section : {"plugins", "machine", "operatingsystem"}) {
      const cJSON* node = Member(document, section);
      if (!node) continue;
      t.Line(2, std::string(section));
      const cJSON* member = nullptr;
      cJSON_ArrayForEach(member, node)
          t.Line(4, std::string(member->string) + ": " + (cJSON_IsObject(member) ? Members(member) : Scalar(member)));
    }
    if (const cJSON* disk = Member(document, "disk")) t.Line(2, "disk: " + Members(disk));
  }

  const cJSON* disk = Member(report, "disk");
  if (cJSON_IsObject(disk)) {
    t.Blank();
    t.Line(0, "Disk " + Text(disk, "path"));
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, disk) {
      if (std::string(member->string) != "path") t.Line(2, std::string(member->string) + ": " + Scalar(member));
    }
  }

  const cJSON* capture = Member(report, "captureReport");
  t.Blank();
  if (!cJSON_IsObject(capture)) {
    t.Line(0, "Capture report: none");
  } else {
    t.Line(0, "Capture report " + Text(capture, "path"));
    const cJSON* group = nullptr;
    cJSON_ArrayForEach(group, Member(capture, "events")) {
      t.Line(2, std::string(group->string) + " (" + std::to_string(cJSON_GetArraySize(group)) + ")");
      const cJSON* event = nullptr;
      cJSON_ArrayForEach(event, group) t.Line(4, Members(event));
    }
  }

  const cJSON* checks = Member(report, "checks");
  int counts[3] = {0, 0, 0};
  const cJSON* check = nullptr;
  cJSON_ArrayForEach(check, checks) {
    const std::string status = Text(check, "status");
    ++counts[status == "fail" ? 0 : status == "pass" ? 1 : 2];
  }
  t.Blank();
  t.Line(0, "Checks: " + std::to_string(counts[0]) + " failed, " + std::to_string(counts[1]) + " passed, " +
                std::to_string(counts[2]) + " skipped");
  // Failures first, with what failed and where.
  for (const char* wanted : {"fail", "pass", "skip"}) {
    cJSON_ArrayForEach(check, checks) {
      const std::string status = Text(check, "status");
      if (status != wanted) continue;
      if (status == "fail") {
        t.Line(2, "FAIL  " + Text(check, "id") + " (" + Text(check, "severity") + "): " + Text(check, "explanation"));
        const cJSON* finding = nullptr;
        cJSON_ArrayForEach(finding, Member(check, "findings")) t.Line(8, "- " + Scalar(finding));
      } else if (status == "pass") {
        t.Line(2, "pass  " + Text(check, "id"));
      } else {
        t.Line(2, "skip  " + Text(check, "id") + ": " + Text(check, "skipped"));
      }
    }
  }
  return t.out_;
}

}  // namespace inspect

// The HTML view: one page, icons inline as data URIs, readable without
// script or network.
#include <algorithm>
#include <string>
#include <vector>

#include "inspection.h"

namespace inspect {
namespace {

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

constexpr char kStyle[] =
    "body{font:14px/1.4 sans-serif;margin:2em;color:#222;max-width:70em}"
    "h1{font-size:1.5em}h2{font-size:1.2em;border-bottom:1px solid #ccc;margin-top:1.5em}"
    "table{border-collapse:collapse;margin:.5em 0}td,th{padding:.2em .6em;text-align:left;vertical-align:top;"
    "border-bottom:1px solid #eee}th{background:#f4f4f4}"
    "img.icon{width:32px;height:32px;vertical-align:middle}"
    ".fail{background:#fde8e8;border:1px solid #e0a0a0;padding:.5em 1em}.ok{background:#e8f6e8;"
    "border:1px solid #a0d0a0;padding:.5em 1em}.skip{color:#777}code{font-size:.95em}"
    ".chain span{display:inline-block;padding:.2em .5em;border:1px solid #aaa;border-radius:3px;margin:.2em}";

class Page {
 public:
  explicit Page(const Inspection& inspection) : inspection_(inspection) {}

  // The document's icon number as an image, or a dash.
  std::string Icon(const cJSON* number) {
    if (!number) return "&ndash;";
    const std::string name = "icon" + Scalar(number);
    const auto found = inspection_.icons.find(name);
    if (found == inspection_.icons.end()) return "<em>" + Escape(name) + " (missing)</em>";
    return "<img class=\"icon\" alt=\"" + name + "\" title=\"" + name + "\" src=\"data:" + found->second.mime +
           ";base64," + found->second.base64 + "\">";
  }

  std::string Table(const std::vector<std::string>& heads, const std::vector<std::vector<std::string>>& rows) {
    std::string html = "<table><tr>";
    for (const auto& head : heads) html += "<th>" + head + "</th>";
    html += "</tr>";
    for (const auto& row : rows) {
      html += "<tr>";
      for (const auto& cell : row) html += "<td>" + cell + "</td>";
      html += "</tr>";
    }
    return html + "</table>";
  }
  // Name/value rows of an object's members.
  std::string Facts(const cJSON* object) {
    std::vector<std::vector<std::string>> rows;
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, object) rows.push_back({Escape(member->string), Escape(Scalar(member))});
    return Table({"member", "value"}, rows);
  }

  std::string Build() {
    const cJSON* report = inspection_.report.get();
    const cJSON* document = Member(report, "document");
    const cJSON* bundles = Member(document, "bundles");
    const cJSON* first = cJSON_GetArrayItem(bundles, 0);
    const std::string title =
        "kestrel-inspect: " + (first ? Text(first, "name") + " " + Text(first, "version") : Text(report, "volume"));
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + Escape(title) +
                       "</title><style>" + kStyle + "</style></head><body>\n<h1>" + Escape(title) + "</h1>\n<p>Volume <code>" +
                       Escape(Text(report, "volume")) + "</code></p>\n";

    // Failed checks first: they are why the page is opened.
    const cJSON* checks = Member(report, "checks");
    std::string failed;
    const cJSON* check = nullptr;
    cJSON_ArrayForEach(check, checks) {
      if (Text(check, "status") != "fail") continue;
      failed += "<li><b>" + Escape(Text(check, "id")) + "</b> (" + Escape(Text(check, "severity")) + ") " +
                Escape(Text(check, "explanation")) + "<ul>";
      const cJSON* finding = nullptr;
      cJSON_ArrayForEach(finding, Member(check, "findings")) failed += "<li>" + Escape(Scalar(finding)) + "</li>";
      failed += "</ul></li>";
    }
    html += failed.empty() ? "<div class=\"ok\" id=\"failed-checks\">No check failed.</div>\n"
                           : "<div class=\"fail\" id=\"failed-checks\"><h2>Failed checks</h2><ul>" + failed + "</ul></div>\n";

    const cJSON* identity = Member(report, "identity");
    html += "<h2>Volume identity</h2>";
    std::vector<std::vector<std::string>> rows{{"AppId folder", Escape(Scalar(Member(identity, "appId")))}};
    const cJSON* copy = nullptr;
    cJSON_ArrayForEach(copy, Member(identity, "metaYml"))
        rows.push_back({"VolumeID (_meta.yml, " + Escape(Text(copy, "copy")) + " copy)", Escape(Scalar(Member(copy, "volumeId")))});
    if (cJSON_IsObject(document)) rows.push_back({"appstack.volumeID", Escape(Text(document, "volumeID"))});
    std::string notes = Escape(Scalar(Member(identity, "notes")));
    for (size_t at = notes.find("\r\n"); at != std::string::npos; at = notes.find("\r\n", at)) notes.replace(at, 2, "<br>");
    rows.push_back({"Notes", notes});
    const cJSON* marker = nullptr;
    cJSON_ArrayForEach(marker, Member(identity, "silentMarkers"))
        rows.push_back({"silent marker " + Escape(marker->string), Scalar(marker)});
    html += Table({"", ""}, rows);
    if (cJSON_IsObject(Member(identity, "state"))) html += "<h3>Resume state</h3>" + Facts(Member(identity, "state"));

    html += "<h2>Applications in _meta.yml</h2>";
    rows.clear();
    const cJSON* app = nullptr;
    cJSON_ArrayForEach(app, Member(report, "applications")) {
      const auto ico = inspection_.icoFiles.find(Text(app, "name"));
      rows.push_back({ico == inspection_.icoFiles.end()
                          ? "&ndash;"
                          : "<img class=\"icon\" alt=\".ico\" src=\"data:" + ico->second.mime + ";base64," +
                                ico->second.base64 + "\">",
                      Escape(Text(app, "name")), Escape(Text(app, "version")), Escape(Text(app, "publisher")),
                      Text(app, "systemComponent") == "1" ? "yes" : "", Escape(Text(app, "displayIcon"))});
    }
    html += Table({".ico", "name", "version", "publisher", "system component", "DisplayIcon"}, rows);

    if (!cJSON_IsObject(document)) {
      html += "<h2>metadata.json</h2><p>None: phase two has not written it.</p>";
    } else {
      html += "<h2>metadata.json</h2><p><code>" + Escape(Text(document, "path")) + "</code></p>";
      const cJSON* bundle = nullptr;
      cJSON_ArrayForEach(bundle, bundles) html += Bundle(bundle);
      html += "<h3>Icons</h3>";
      rows.clear();
      const cJSON* icon = nullptr;
      cJSON_ArrayForEach(icon, Member(document, "icons")) {
        const std::string name = Text(icon, "name");
        const auto found = inspection_.icons.find(name);
        rows.push_back({found == inspection_.icons.end() ? "<em>does not decode</em>"
                                                         : "<img class=\"icon\" alt=\"" + name + "\" src=\"data:" +
                                                               found->second.mime + ";base64," + found->second.base64 + "\">",
                        Escape(name), Escape(Text(icon, "type")), Escape(Text(icon, "format")),
                        Escape(Scalar(Member(icon, "width"))) + "&times;" + Escape(Scalar(Member(icon, "height"))),
                        Escape(Scalar(Member(icon, "bytes")))});
      }
      html += Table({"", "member", "type", "format", "size", "bytes"}, rows);
      for (const char* section : {"disk", "plugins", "machine", "operatingsystem", "program"}) {
        if (const cJSON* node = Member(document, section)) html += "<h3>" + std::string(section) + "</h3>" + Facts(node);
      }
    }

    if (const cJSON* disk = Member(report, "disk"); cJSON_IsObject(disk)) html += "<h2>Disk</h2>" + Facts(disk);

    const cJSON* capture = Member(report, "captureReport");
    html += "<h2>Capture report</h2>";
    if (!cJSON_IsObject(capture)) {
      html += "<p>None found.</p>";
    } else {
      html += "<p><code>" + Escape(Text(capture, "path")) + "</code></p>";
      const cJSON* group = nullptr;
      cJSON_ArrayForEach(group, Member(capture, "events")) {
        html += "<h3>" + Escape(group->string) + "</h3>";
        rows.clear();
        std::vector<std::string> heads;
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, group) {
          const cJSON* member = nullptr;
          cJSON_ArrayForEach(member, event) {
            if (std::find(heads.begin(), heads.end(), Escape(member->string)) == heads.end())
              heads.push_back(Escape(member->string));
          }
        }
        cJSON_ArrayForEach(event, group) {
          std::vector<std::string> row;
          const cJSON* member = nullptr;
          for (const auto& head : heads) {
            std::string cell;
            cJSON_ArrayForEach(member, event) {
              if (Escape(member->string) == head) cell = Escape(Scalar(member));
            }
            row.push_back(cell);
          }
          rows.push_back(row);
        }
        html += Table(heads, rows);
      }
    }

    html += "<h2>All checks</h2>";
    rows.clear();
    cJSON_ArrayForEach(check, checks) {
      const std::string status = Text(check, "status");
      rows.push_back({"<span class=\"" + status + "\">" + status + "</span>", "<code>" + Escape(Text(check, "id")) + "</code>",
                      Escape(Text(check, "severity")),
                      Escape(Text(check, "explanation")) +
                          (status == "skip" ? "<br><span class=\"skip\">" + Escape(Text(check, "skipped")) + "</span>" : "")});
    }
    html += Table({"status", "check", "severity", "what it checks"}, rows);
    return html + "\n</body></html>\n";
  }

 private:
  std::string Bundle(const cJSON* bundle) {
    std::string html = "<h3>Bundle " + Escape(Text(bundle, "name")) + " " + Escape(Text(bundle, "version")) + "</h3>";
    html += "<p>guid <code>" + Escape(Text(bundle, "guid")) + "</code>, by " + Escape(Text(bundle, "author")) +
            "<br>" + Escape(Text(bundle, "description")) + "</p>";
    html += "<h4>Derivation chain</h4><p class=\"chain\">";
    const cJSON* link = nullptr;
    cJSON_ArrayForEach(link, Member(bundle, "derivation")) html += "<span>" + Escape(Scalar(link)) + "</span> &rarr; ";
    html += "<span><b>" + Escape(Text(bundle, "guid")) + "</b></span></p>";

    std::vector<std::vector<std::string>> rows;
    const cJSON* app = nullptr;
    cJSON_ArrayForEach(app, Member(bundle, "apps"))
        rows.push_back({Icon(Member(app, "iconIndex")), Escape(Text(app, "name")), Escape(Text(app, "version")),
                        Escape(Text(app, "publisher")), Text(app, "systemcomponent") == "1" ? "yes" : ""});
    html += "<h4>Applications</h4>" + Table({"icon", "name", "version", "publisher", "system component"}, rows);

    const cJSON* registrations = Member(bundle, "registrations");
    const cJSON* targets = Member(registrations, "target_apps");
    rows.clear();
    const cJSON* shortcut = nullptr;
    cJSON_ArrayForEach(shortcut, Member(bundle, "shortcuts")) {
      const cJSON* target = Member(shortcut, "target_app");
      const cJSON* targetApp = target && cJSON_IsNumber(target) ? cJSON_GetArrayItem(targets, target->valueint) : nullptr;
      rows.push_back({Icon(Member(shortcut, "iconIndex")), Escape(Text(shortcut, "name")),
                      "<code>" + Escape(Text(shortcut, "path")) + "</code>", "<code>" + Escape(Text(shortcut, "launch_id")) + "</code>",
                      Escape(Text(shortcut, "description")), Escape(Text(shortcut, "publisher")),
                      Escape(Text(shortcut, "product_version")),
                      target ? Escape(Scalar(target)) + (targetApp ? " " + Icon(Member(targetApp, "app_icon")) : "") : ""});
    }
    html += "<h4>Shortcuts</h4>" + Table({"icon", "name", "path", "launch_id", "description", "publisher", "version", "target app"}, rows);

    // File types with their ProgID's description, icon and verbs.
    rows.clear();
    const cJSON* type = nullptr;
    cJSON_ArrayForEach(type, Member(registrations, "fta")) {
      const cJSON* progId = nullptr;
      const cJSON* candidate = nullptr;
      cJSON_ArrayForEach(candidate, Member(registrations, "prog_ids")) {
        if (Text(candidate, "name") == Text(type, "prog_id")) progId = candidate;
      }
      std::string verbs;
      const cJSON* verb = nullptr;
      cJSON_ArrayForEach(verb, Member(progId, "verbs")) {
        verbs += (verbs.empty() ? "" : ", ") + Escape(Text(verb, "name"));
        if (const cJSON* target = Member(verb, "target_app")) verbs += " &rarr; " + Escape(Scalar(target));
      }
      rows.push_back({progId ? Icon(Member(progId, "default_icon")) : "&ndash;", Escape(Text(type, "name")),
                      Escape(Text(type, "prog_id")), Escape(Text(progId, "desc")), verbs});
    }
    html += "<h4>File types</h4>" + Table({"icon", "extension", "ProgID", "description", "verbs &rarr; target app"}, rows);
    const cJSON* list = nullptr;
    cJSON_ArrayForEach(list, registrations) {
      const std::string name = list->string;
      if (name == "fta") continue;
      html += "<h4>" + Escape(name) + "</h4><ul>";
      const cJSON* item = nullptr;
      cJSON_ArrayForEach(item, list) html += "<li><code>" + Escape(Scalar(item)) + "</code></li>";
      html += "</ul>";
    }
    return html;
  }

  const Inspection& inspection_;
};

}  // namespace

std::string HtmlView(const Inspection& inspection) { return Page(inspection).Build(); }

}  // namespace inspect

// Serializing a package-sized metadata document: the tree writing into one
// buffer against the naive form, where every node returns its own string and
// each container appends its children's strings to its own (so an icon's
// text is copied once per level above it).
//
// The document: 1,000 objects, 300 icons of 20 KB base64, nesting 6 deep.
// Besides time, each benchmark reports the heap's peak during the
// serialization (bytes live at once above what the tree itself holds) and
// the text's size.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "metadata/metadata_value.h"
#include "platform/text.h"

// --- heap accounting ----------------------------------------------------------

namespace {
std::atomic<size_t> g_live{0};
std::atomic<size_t> g_peak{0};

void* Allocate(size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (!block) throw std::bad_alloc();
  const size_t live = g_live += malloc_usable_size(block);
  size_t peak = g_peak.load();
  while (live > peak && !g_peak.compare_exchange_weak(peak, live)) {
  }
  return block;
}

void Release(void* block) {
  if (!block) return;
  g_live -= malloc_usable_size(block);
  std::free(block);
}
}  // namespace

void* operator new(size_t size) { return Allocate(size); }
void* operator new[](size_t size) { return Allocate(size); }
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, size_t) noexcept { Release(block); }
void operator delete[](void* block, size_t) noexcept { Release(block); }

namespace {

// --- the naive serializer, kept here only to measure against -------------------

class NaiveValue {
 public:
  explicit NaiveValue(uint32_t kind) : kind(kind) {}
  virtual ~NaiveValue() = default;
  virtual std::string Serialize(int32_t indent) const = 0;
  const uint32_t kind;
};

class NaiveString : public NaiveValue {
 public:
  explicit NaiveString(std::string value) : NaiveValue(kMetadataString), value_(std::move(value)) {}
  std::string Serialize(int32_t) const override {
    std::string out = "\"";
    for (const char c : value_) {
      switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\t': out += "\\t"; break;
        case '\n': out += "\\n"; break;
        case '\f': out += "\\f"; break;
        case '\r': out += "\\r"; break;
        case '<': out += "\\u003C"; break;
        default: out += c;
      }
    }
    return out + "\"";
  }

 private:
  std::string value_;
};

class NaiveUint : public NaiveValue {
 public:
  explicit NaiveUint(uint64_t value) : NaiveValue(kMetadataNumber), value_(value) {}
  std::string Serialize(int32_t) const override {
    char digits[21];
    char* at = digits + sizeof digits;
    uint64_t v = value_;
    do {
      *--at = static_cast<char>('0' + v % 10);
      v /= 10;
    } while (v != 0);
    return std::string(at, static_cast<size_t>(digits + sizeof digits - at));
  }

 private:
  uint64_t value_;
};

class NaiveObject : public NaiveValue {
 public:
  NaiveObject() : NaiveValue(kMetadataObject) {}
  void Add(const std::wstring& key, std::unique_ptr<NaiveValue> node) {
    members_.emplace_back(platform::ToUtf8(key), std::move(node));
  }
  void AddString(const std::wstring& key, const std::wstring& value) {
    Add(key, std::make_unique<NaiveString>(platform::ToUtf8(value)));
  }
  void AddString(const std::wstring& key, const std::string& utf8) {
    Add(key, std::make_unique<NaiveString>(utf8));
  }
  std::string Serialize(int32_t indent) const override {
    size_t width = 0;
    for (const auto& member : members_) width = std::max(width, member.first.size());
    std::string out = "{";
    for (size_t i = 0; i < members_.size(); ++i) {
      const auto& [key, value] = members_[i];
      char field[256];
      char format[16];
      std::snprintf(format, sizeof format, "%%%zus", width + 2);
      std::snprintf(field, sizeof field, format, ("\"" + key + "\"").c_str());
      out += "\r\n" + std::string(static_cast<size_t>(indent) + 2, ' ') + field + " : ";
      if (value->kind == kMetadataObject || value->kind == kMetadataArray) {
        out += value->Serialize(indent + static_cast<int32_t>(width) + 5);
      } else {
        out += value->Serialize(0);
      }
      if (i + 1 < members_.size()) out += ", ";
    }
    return out + "\r\n" + std::string(static_cast<size_t>(indent), ' ') + "}";
  }

 private:
  std::vector<std::pair<std::string, std::unique_ptr<NaiveValue>>> members_;
};

class NaiveArray : public NaiveValue {
 public:
  NaiveArray() : NaiveValue(kMetadataArray) {}
  void Add(std::unique_ptr<NaiveValue> node) { elements_.push_back(std::move(node)); }
  std::string Serialize(int32_t indent) const override {
    std::string out = "[";
    for (size_t i = 0; i < elements_.size(); ++i) {
      out += "\r\n" + std::string(static_cast<size_t>(indent) + 2, ' ');
      if (elements_[i]->kind == kMetadataString) out += elements_[i]->Serialize(0);
      if (elements_[i]->kind == kMetadataObject) out += elements_[i]->Serialize(indent + 2);
      if (i + 1 < elements_.size()) out += ", ";
    }
    return out + "\r\n" + std::string(static_cast<size_t>(indent), ' ') + "]";
  }

 private:
  std::vector<std::unique_ptr<NaiveValue>> elements_;
};

// --- the document, built the same way for both ---------------------------------

struct TreeKinds {
  using Object = MetadataObject;
  using Array = MetadataArray;
  static std::unique_ptr<MetadataValue> Number(uint64_t value) { return std::make_unique<MetadataUint>(static_cast<uint32_t>(value)); }
  static std::unique_ptr<MetadataValue> Text(const std::wstring& value) { return std::make_unique<MetadataString>(std::wstring_view(value)); }
};

struct NaiveKinds {
  using Object = NaiveObject;
  using Array = NaiveArray;
  static std::unique_ptr<NaiveValue> Number(uint64_t value) { return std::make_unique<NaiveUint>(value); }
  static std::unique_ptr<NaiveValue> Text(const std::wstring& value) { return std::make_unique<NaiveString>(platform::ToUtf8(value)); }
};

constexpr int kApps = 192;
constexpr int kShortcuts = 500;
constexpr int kIcons = 300;
constexpr size_t kIconBytes = 20 * 1024;

// 20 KB of base64 text, different for every icon.
std::string Base64Icon(int index) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string data(kIconBytes, 'A');
  uint32_t state = 2166136261u ^ static_cast<uint32_t>(index);
  for (auto& c : data) {
    state = state * 1664525u + 1013904223u;
    c = kAlphabet[state >> 26];
  }
  data.replace(data.size() - 2, 2, "==");
  return data;
}

// Containers nested six deep (root > appstack > applicationBundles >
// applicationBundle0 > on_demand_data > shortcuts[]), the shortcut objects
// inside the last. 192 apps, 500 shortcuts, 300 icons and the 8 sections
// around them make 1,000 objects.
template <class K>
std::unique_ptr<typename K::Object> BuildPackage() {
  using Object = typename K::Object;
  using Array = typename K::Array;
  auto root = std::make_unique<Object>();
  auto program = std::make_unique<Object>();
  program->AddString(L"orvcapture", std::wstring(L"4.16.1.1564"));
  program->AddString(L"Merovane", std::wstring());
  root->Add(L"program", std::move(program));
  auto disk = std::make_unique<Object>();
  disk->AddString(L"uniqueId", std::wstring(L"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}"));
  disk->AddString(L"source", std::wstring(L"template"));
  root->Add(L"disk", std::move(disk));

  auto appstack = std::make_unique<Object>();
  auto bundles = std::make_unique<Object>();
  auto bundle = std::make_unique<Object>();
  bundle->AddString(L"guid", std::wstring(L"{11111111-2222-3333-4444-555555555555}"));
  bundle->AddString(L"name", std::wstring(L"Contoso Suite <2026>"));
  auto apps = std::make_unique<Array>();
  for (int i = 0; i < kApps; ++i) {
    auto app = std::make_unique<Object>();
    app->AddString(L"name", L"Contoso Application " + std::to_wstring(i));
    app->AddString(L"version", std::wstring(L"12.4.1.7"));
    app->AddString(L"publisher", std::wstring(L"Contoso \"Tools\" Ltd."));
    app->AddString(L"installlocation", L"C:\\Program Files\\Contoso\\App" + std::to_wstring(i) + L"\\");
    app->Add(L"iconIndex", K::Number(static_cast<uint64_t>(i)));
    apps->Add(std::move(app));
  }
  bundle->Add(L"apps", std::move(apps));
  auto onDemand = std::make_unique<Object>();
  auto shortcuts = std::make_unique<Array>();
  for (int i = 0; i < kShortcuts; ++i) {
    auto shortcut = std::make_unique<Object>();
    shortcut->AddString(L"launch_id", std::wstring(L"{6f1d2c3b-4a59-6877-8695-a4b3c2d1e0f9}"));
    shortcut->AddString(L"name", L"Shortcut " + std::to_wstring(i));
    shortcut->AddString(L"path", L"C:\\Program Files\\Contoso\\App" + std::to_wstring(i % kApps) + L"\\run.exe");
    shortcut->AddString(L"arguments", std::wstring(L"/safe \"%1\""));
    shortcut->Add(L"icon_index", K::Number(static_cast<uint64_t>(i % kIcons)));
    shortcuts->Add(std::move(shortcut));
  }
  onDemand->Add(L"shortcuts", std::move(shortcuts));
  bundle->Add(L"on_demand_data", std::move(onDemand));
  bundles->AddString(L"count", std::wstring(L"1"));
  bundles->Add(L"applicationBundle0", std::move(bundle));
  appstack->Add(L"applicationBundles", std::move(bundles));

  auto icons = std::make_unique<Object>();
  icons->AddString(L"count", std::to_wstring(kIcons));
  for (int i = 0; i < kIcons; ++i) {
    auto icon = std::make_unique<Object>();
    icon->AddString(L"type", std::wstring(L"image/png"));
    icon->AddString(L"data", Base64Icon(i));
    icons->Add(L"icon" + std::to_wstring(i), std::move(icon));
  }
  appstack->Add(L"icons", std::move(icons));
  root->Add(L"appstack", std::move(appstack));
  return root;
}

// The tree's text and the naive text must be the same bytes, or the
// comparison means nothing.
const std::string& ExpectedText() {
  static const std::string text = [] {
    std::string tree = BuildPackage<TreeKinds>()->Serialize(0);
    std::string naive = BuildPackage<NaiveKinds>()->Serialize(0);
    if (tree != naive) {
      std::fprintf(stderr, "metadata_serialize_bench: the two serializers disagree\n");
      std::abort();
    }
    return tree;
  }();
  return text;
}

template <class Serialize>
void Measure(benchmark::State& state, Serialize serialize) {
  size_t peakAbove = 0;
  size_t size = 0;
  for (auto _ : state) {
    const size_t before = g_live.load();
    g_peak = before;
    std::string text = serialize();
    peakAbove = std::max(peakAbove, g_peak.load() - before);
    size = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  if (size != ExpectedText().size()) state.SkipWithError("text differs in size");
  state.counters["text_MB"] = static_cast<double>(size) / 1e6;
  state.counters["peak_heap_MB"] = static_cast<double>(peakAbove) / 1e6;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

// What the program does: the size measured, then one buffer of that size.
void BM_OneBuffer(benchmark::State& state) {
  ExpectedText();
  const auto root = BuildPackage<TreeKinds>();
  Measure(state, [&] { return root->Serialize(0); });
}

// One buffer without the measuring walk: it grows as it fills.
void BM_OneGrowingBuffer(benchmark::State& state) {
  ExpectedText();
  const auto root = BuildPackage<TreeKinds>();
  Measure(state, [&] {
    std::string text;
    root->SerializeTo(text, 0);
    return text;
  });
}

void BM_NaiveAppendAndReturn(benchmark::State& state) {
  ExpectedText();
  const auto root = BuildPackage<NaiveKinds>();
  Measure(state, [&] { return root->Serialize(0); });
}

BENCHMARK(BM_OneBuffer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OneGrowingBuffer)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NaiveAppendAndReturn)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

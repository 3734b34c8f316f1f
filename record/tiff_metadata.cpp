#include "record/tiff_metadata.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>

namespace lumetra {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
  return s;
}

std::optional<double> ParseNumber(std::string_view s) {
  s = Trim(s);
  double v = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size() || !std::isfinite(v)) return std::nullopt;
  return v;
}

// A whole number in 0..limit, or nothing.
std::optional<int64_t> ParseCount(std::string_view s, int64_t limit = INT32_MAX) {
  s = Trim(s);
  int64_t v = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size() || v < 0 || v > limit) return std::nullopt;
  return v;
}

// ---- ImageJ: "ImageJ=1.54f\nimages=300\nchannels=3\n..." ----

void ParseImageJ(std::string_view text, TiffDescription& d) {
  d.kind = TiffMetaKind::kImageJ;
  d.order = "XYCZT";  // ImageJ hyperstacks: channel fastest, then slice, then frame
  while (!text.empty()) {
    const size_t nl = text.find('\n');
    std::string_view line = text.substr(0, nl);
    text = nl == std::string_view::npos ? std::string_view() : text.substr(nl + 1);
    const size_t eq = line.find('=');
    if (eq == std::string_view::npos) continue;
    const std::string_view key = Trim(line.substr(0, eq));
    const std::string_view value = Trim(line.substr(eq + 1));
    auto count = [&](int64_t& out) {
      if (auto v = ParseCount(value); v && *v > 0)
        out = *v;
      else
        d.problems.push_back("ImageJ " + std::string(key) + "=" + std::string(value) + " ignored");
    };
    if (key == "images") count(d.images);
    else if (key == "channels") count(d.size_c);
    else if (key == "slices") count(d.size_z);
    else if (key == "frames") count(d.size_time);
    else if (key == "finterval") {
      if (auto v = ParseNumber(value); v && *v > 0)
        d.frame_ms = *v * 1000.0;
      else
        d.problems.push_back("ImageJ finterval=" + std::string(value) + " ignored");
    } else if (key == "unit") {
      d.unit = std::string(value);
      if (auto nm = LengthUnitNm(value)) d.unit_nm = *nm;
    }
  }
}

// ---- OME-XML: a small reader of start tags and their attributes ----

struct Attribute {
  std::string_view name;
  std::string value;  // entities decoded
};

std::string DecodeEntities(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '&') {
      out += s[i];
      continue;
    }
    const size_t semi = s.find(';', i);
    if (semi == std::string_view::npos) {
      out += s.substr(i);
      break;
    }
    const std::string_view e = s.substr(i + 1, semi - i - 1);
    if (e == "amp") out += '&';
    else if (e == "lt") out += '<';
    else if (e == "gt") out += '>';
    else if (e == "quot") out += '"';
    else if (e == "apos") out += '\'';
    else if (e == "#181" || e == "#xB5" || e == "#xb5") out += "\xC2\xB5";
    else out += s.substr(i, semi - i + 1);
    i = semi;
  }
  return out;
}

// Calls `element(name, attributes)` for every start tag, with the namespace
// prefix taken off the name. Comments, declarations and CDATA are skipped.
template <typename F>
void ForEachStartTag(std::string_view xml, F&& element) {
  size_t i = 0;
  std::vector<Attribute> attrs;
  while ((i = xml.find('<', i)) != std::string_view::npos) {
    auto skip_to = [&](std::string_view end) {
      const size_t at = xml.find(end, i);
      i = at == std::string_view::npos ? xml.size() : at + end.size();
    };
    const std::string_view rest = xml.substr(i);
    if (rest.starts_with("<!--")) { skip_to("-->"); continue; }
    if (rest.starts_with("<![CDATA[")) { skip_to("]]>"); continue; }
    if (rest.starts_with("<?")) { skip_to("?>"); continue; }
    if (rest.starts_with("<!") || rest.starts_with("</")) { skip_to(">"); continue; }
    size_t p = i + 1;
    const size_t name_start = p;
    while (p < xml.size() && !std::isspace(static_cast<unsigned char>(xml[p])) && xml[p] != '>' &&
           xml[p] != '/')
      ++p;
    std::string_view name = xml.substr(name_start, p - name_start);
    if (const size_t colon = name.find(':'); colon != std::string_view::npos)
      name.remove_prefix(colon + 1);
    attrs.clear();
    while (p < xml.size() && xml[p] != '>') {
      if (std::isspace(static_cast<unsigned char>(xml[p])) || xml[p] == '/') { ++p; continue; }
      const size_t a = p;
      while (p < xml.size() && xml[p] != '=' && xml[p] != '>' &&
             !std::isspace(static_cast<unsigned char>(xml[p])))
        ++p;
      std::string_view aname = xml.substr(a, p - a);
      while (p < xml.size() && std::isspace(static_cast<unsigned char>(xml[p]))) ++p;
      if (p >= xml.size() || xml[p] != '=') continue;
      ++p;
      while (p < xml.size() && std::isspace(static_cast<unsigned char>(xml[p]))) ++p;
      if (p >= xml.size() || (xml[p] != '"' && xml[p] != '\'')) continue;
      const char quote = xml[p++];
      const size_t close = xml.find(quote, p);
      if (close == std::string_view::npos) { p = xml.size(); break; }
      if (const size_t colon = aname.find(':'); colon != std::string_view::npos)
        aname.remove_prefix(colon + 1);
      attrs.push_back({aname, DecodeEntities(xml.substr(p, close - p))});
      p = close + 1;
    }
    element(name, attrs);
    i = p;
  }
}

const std::string* Find(const std::vector<Attribute>& attrs, std::string_view name) {
  for (const Attribute& a : attrs)
    if (a.name == name) return &a.value;
  return nullptr;
}

// A length attribute in nm (unit attribute default: µm); 0 when absent or unusable.
double LengthNm(const std::vector<Attribute>& attrs, std::string_view name, TiffDescription& d) {
  const std::string* v = Find(attrs, name);
  if (!v) return 0;
  const std::string* u = Find(attrs, std::string(name) + "Unit");
  const auto number = ParseNumber(*v);
  const auto unit = LengthUnitNm(u ? std::string_view(*u) : "um");
  if (!number || *number <= 0 || !unit) {
    d.problems.push_back("OME " + std::string(name) + "=\"" + *v + "\"" +
                         (u ? " " + *u : std::string()) + " ignored");
    return 0;
  }
  return *number * *unit;
}

// A time attribute in ms (unit attribute default: s); NaN when absent or unusable.
double TimeMs(const std::vector<Attribute>& attrs, std::string_view name, TiffDescription& d) {
  const std::string* v = Find(attrs, name);
  if (!v) return kNaN;
  const std::string* u = Find(attrs, std::string(name) + "Unit");
  const auto number = ParseNumber(*v);
  const auto unit = TimeUnitMs(u ? std::string_view(*u) : "s");
  if (!number || *number < 0 || !unit) {
    d.problems.push_back("OME " + std::string(name) + "=\"" + *v + "\" ignored");
    return kNaN;
  }
  return *number * *unit;
}

int64_t CountAttr(const std::vector<Attribute>& attrs, std::string_view name, int64_t fallback) {
  const std::string* v = Find(attrs, name);
  if (!v) return fallback;
  return ParseCount(*v).value_or(fallback);
}

void ParseOme(std::string_view xml, TiffDescription& d) {
  d.kind = TiffMetaKind::kOme;
  d.order = "XYZCT";
  bool in_first_image = false;
  ForEachStartTag(xml, [&](std::string_view name, const std::vector<Attribute>& attrs) {
    if (name == "Image") {
      in_first_image = ++d.image_count == 1;
      return;
    }
    if (!in_first_image) return;
    if (name == "Pixels") {
      d.size_c = std::max<int64_t>(1, CountAttr(attrs, "SizeC", 1));
      d.size_z = std::max<int64_t>(1, CountAttr(attrs, "SizeZ", 1));
      d.size_time = CountAttr(attrs, "SizeT", 0);
      if (const std::string* o = Find(attrs, "DimensionOrder")) d.order = *o;
      if (const std::string* t = Find(attrs, "Type")) d.pixel_type = *t;
      d.nm_x = LengthNm(attrs, "PhysicalSizeX", d);
      d.nm_y = LengthNm(attrs, "PhysicalSizeY", d);
      const double inc = TimeMs(attrs, "TimeIncrement", d);
      if (inc > 0) d.frame_ms = inc;
    } else if (name == "Plane") {
      // Planes past a sane number are not kept: a hostile file may list millions.
      if (d.planes.size() >= 200'000) return;
      d.planes.push_back({CountAttr(attrs, "TheC", 0), CountAttr(attrs, "TheZ", 0),
                          CountAttr(attrs, "TheT", 0), TimeMs(attrs, "DeltaT", d),
                          TimeMs(attrs, "ExposureTime", d)});
    } else if (name == "TiffData") {
      if (d.tiff_data.size() >= 200'000) return;
      OmeTiffData t;
      const bool has_ifd = Find(attrs, "IFD") != nullptr;
      t.ifd = CountAttr(attrs, "IFD", 0);
      t.first_c = CountAttr(attrs, "FirstC", 0);
      t.first_z = CountAttr(attrs, "FirstZ", 0);
      t.first_t = CountAttr(attrs, "FirstT", 0);
      // PlaneCount left out: one plane when an IFD is named, else all of them.
      t.count = CountAttr(attrs, "PlaneCount", has_ifd ? 1 : -1);
      d.tiff_data.push_back(t);
    }
  });
}

}  // namespace

std::optional<double> LengthUnitNm(std::string_view u) {
  u = Trim(u);
  if (u == "nm" || u == "nanometer" || u == "nanometre") return 1.0;
  if (u == "micron" || u == "microns" || u == "um" || u == "\xC2\xB5m" || u == "\xCE\xBCm" ||
      u == "\xB5m" || u == "micrometer" || u == "micrometre")
    return 1000.0;
  if (u == "mm") return 1e6;
  if (u == "cm") return 1e7;
  if (u == "m") return 1e9;
  if (u == "pm") return 1e-3;
  if (u == "\xC3\x85" || u == "\xE2\x84\xAB" || u == "angstrom") return 0.1;
  return std::nullopt;
}

std::optional<double> TimeUnitMs(std::string_view u) {
  u = Trim(u);
  if (u == "s" || u == "sec") return 1000.0;
  if (u == "ms") return 1.0;
  if (u == "us" || u == "\xC2\xB5s" || u == "\xCE\xBCs" || u == "\xB5s") return 1e-3;
  if (u == "ns") return 1e-6;
  if (u == "min") return 60000.0;
  if (u == "h") return 3.6e6;
  return std::nullopt;
}

int64_t PlaneIndex(std::string_view order, int64_t size_c, int64_t size_z, int64_t size_time,
                   int64_t c, int64_t z, int64_t t) {
  if (order.size() != 5 || order.substr(0, 2) != "XY") return -1;
  int64_t index = 0, stride = 1;
  bool seen_c = false, seen_z = false, seen_t = false;
  for (const char dim : order.substr(2)) {
    if (dim == 'C' && !seen_c) {
      index += c * stride;
      stride *= size_c;
      seen_c = true;
    } else if (dim == 'Z' && !seen_z) {
      index += z * stride;
      stride *= size_z;
      seen_z = true;
    } else if (dim == 'T' && !seen_t) {
      index += t * stride;
      stride *= std::max<int64_t>(1, size_time);
      seen_t = true;
    } else {
      return -1;
    }
  }
  return index;
}

TiffDescription ParseTiffDescription(std::string_view text) {
  TiffDescription d;
  const std::string_view start = Trim(text.substr(0, 64));
  if (text.starts_with("ImageJ=")) {
    ParseImageJ(text, d);
  } else if (start.starts_with("<?xml") || start.starts_with("<OME") ||
             text.find("<OME") != std::string_view::npos) {
    ParseOme(text, d);
  }
  return d;
}

}  // namespace lumetra

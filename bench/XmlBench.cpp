// The service's XML work, next to two libraries doing the same job: each takes the text as it came, reads the
// values into texts of its own, or returns the finished document as a text of its own.
#include <benchmark/benchmark.h>
#include <tinyxml2.h>

#include <pugixml.hpp>
#include <string>
#include <vector>

#include "XMLOpt.h"

namespace {

using Path = std::vector<const char*>;  // element names below the root

struct Reading {
    std::string text;
    std::vector<Path> paths;
    std::vector<std::string> dotted;  // the same paths
};

Reading MakeReading(std::string text, std::vector<Path> paths) {
    Reading reading{std::move(text), std::move(paths), {}};
    for (const Path& path : reading.paths) {
        std::string dotted;
        for (const char* name : path) {
            dotted += (dotted.empty() ? "" : ".") + std::string(name);
        }
        reading.dotted.push_back(dotted);
    }
    return reading;
}

// A state report of about 300 bytes, read as the console client does.
const Reading& Envelope() {
    static const Reading reading = MakeReading(
        "<M><OpS>NetModule</OpS><OpT>client</OpT><OpC>NetStateMessageResp</OpC><P><type>1</type>"
        "<oldState>1</oldState><newState>2</newState><ErrorCode>0</ErrorCode><subErrCode>13012000</"
        "subErrCode>"
        "<subType>0</subType><extern>http://portal.example/self/index.html?user=1&amp;page=2</extern></P></"
        "M>",
        {{"OpC"}, {"P", "newState"}, {"P", "extern"}});
    return reading;
}

// A portal configuration of about 10 KB, most of it named settings that nobody asks for here.
std::string ConfigurationText(size_t size) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<config>\n  "
        "<ticket-url>http://portal.example/t</ticket-url>\n"
        "  <query-url>http://portal.example/q</query-url>\n  <auth-url>http://portal.example/a</auth-url>\n"
        "  <state-url>http://portal.example/s?a=1&amp;b=2</state-url>\n  "
        "<state-interval>60</state-interval>\n"
        "  <notify><register>welcome</register><option>none</option></notify>\n"
        "  <account><modify><type>1</type><value>user@domain</value></modify></account>\n"
        "  <auth><type>jvn-http-pap</type><default>1</default></auth>\n"
        "  <server-clusters servers=\"192.0.2.1,192.0.2.2\" servers6=\"\"/>\n"
        "  <user-config><against><against-interval>300</against-interval><logout-delay>300</logout-delay>"
        "<process displayname=\"proxy\">proxyd</process></against><dns1>192.0.2.53</dns1>"
        "<dns2>192.0.2.54</dns2><area>1</area></user-config>\n  <FunCfg>\n";
    for (int index = 0; text.size() < size; ++index) {
        const std::string name = "Setting" + std::to_string(index);
        text += "    <" + name + " enabled=\"true\"><Url>http://portal.example/f/" + std::to_string(index) +
                "</Url><Interval>3600</Interval></" + name + ">\n";
    }
    return text + "  </FunCfg>\n</config>\n";
}

const Reading& Configuration() {
    static const Reading reading =
        MakeReading(ConfigurationText(10'000), {{"ticket-url"},
                                                {"query-url"},
                                                {"auth-url"},
                                                {"state-url"},
                                                {"state-interval"},
                                                {"notify", "register"},
                                                {"notify", "option"},
                                                {"account", "modify", "type"},
                                                {"account", "modify", "value"},
                                                {"auth", "type"},
                                                {"auth", "default"},
                                                {"user-config", "dns1"},
                                                {"user-config", "dns2"},
                                                {"user-config", "against", "logout-delay"},
                                                {"FunCfg", "Setting20", "Interval"}});
    return reading;
}

void ParseOwn(const Reading& reading) {
    CXMLOpt document(reading.text.c_str());
    benchmark::DoNotOptimize(document.IsWellFormed());
}

void ParsePugixml(const Reading& reading) {
    pugi::xml_document document;
    benchmark::DoNotOptimize(document.load_string(reading.text.c_str()).status);
}

void ReadOwn(const Reading& reading) {
    CXMLOpt document(reading.text.c_str());
    for (const std::string& path : reading.dotted) {
        benchmark::DoNotOptimize(document.GetValue(path.c_str()));
    }
}

void ReadPugixml(const Reading& reading) {
    pugi::xml_document document;
    document.load_string(reading.text.c_str());
    for (const Path& path : reading.paths) {
        pugi::xml_node node = document.document_element();
        for (const char* name : path) {
            node = node.child(name);
        }
        benchmark::DoNotOptimize(std::string(node.text().get()));
    }
}

void ReadTinyxml2(const Reading& reading) {
    tinyxml2::XMLDocument document;
    document.Parse(reading.text.c_str());
    for (const Path& path : reading.paths) {
        const tinyxml2::XMLElement* element = document.RootElement();
        for (const char* name : path) {
            element = element->FirstChildElement(name);
        }
        const char* const text = element->GetText();
        benchmark::DoNotOptimize(std::string(text != nullptr ? text : ""));
    }
}

struct Row {
    const char* name;
    const char* value;
};
// The ticket request, in the order of insertion.
constexpr Row kTicket[] = {
    {"host-name", "lab-pc-0042"},
    {"user-agent", "RAVO/Linux64/1.0.0"},
    {"client-id", "0b3a2f5c-8d1e-4c77-9a52-1f2e3d4c5b6a"},
    {"ipv4", "192.0.2.117"},
    {"ipv6", "2001:db8::1f2e:3d4c"},
    {"mac", "02:00:5e:10:00:01"},
    {"local-time", "2024-05-06 07:08:09"},
    {"ostag", "Linux & more"},
};
constexpr char kRequest[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><request></request>";

void BuildOwn() {
    CMarkup document;
    document.SetDoc(kRequest);
    for (const Row& row : kTicket) {
        document.InsertChildElem(row.name, row.value);
    }
    benchmark::DoNotOptimize(document.GetDoc());
}

struct StringWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

void BuildPugixml() {
    pugi::xml_document document;
    document.load_string(kRequest, pugi::parse_default | pugi::parse_declaration);
    pugi::xml_node root = document.document_element();
    for (const Row& row : kTicket) {
        root.prepend_child(row.name).text().set(row.value);
    }
    StringWriter writer;
    document.save(writer, "", pugi::format_raw, pugi::encoding_utf8);
    benchmark::DoNotOptimize(writer.text);
}

void BuildTinyxml2() {
    tinyxml2::XMLDocument document;
    document.Parse(kRequest);
    for (const Row& row : kTicket) {
        tinyxml2::XMLElement* const element = document.NewElement(row.name);
        element->SetText(row.value);
        document.RootElement()->InsertFirstChild(element);
    }
    tinyxml2::XMLPrinter printer(nullptr, true);
    document.Print(&printer);
    benchmark::DoNotOptimize(std::string(printer.CStr()));
}

template <void (*Parse)(const Reading&)>
void ParseEnvelope(benchmark::State& state) {
    for (auto _ : state) {
        Parse(Envelope());
    }
}
BENCHMARK_TEMPLATE(ParseEnvelope, ParseOwn);
BENCHMARK_TEMPLATE(ParseEnvelope, ParsePugixml);

template <void (*Parse)(const Reading&)>
void ParseConfiguration(benchmark::State& state) {
    for (auto _ : state) {
        Parse(Configuration());
    }
}
BENCHMARK_TEMPLATE(ParseConfiguration, ParseOwn);
BENCHMARK_TEMPLATE(ParseConfiguration, ParsePugixml);

template <void (*Read)(const Reading&)>
void ReadEnvelope(benchmark::State& state) {
    for (auto _ : state) {
        Read(Envelope());
    }
}
BENCHMARK_TEMPLATE(ReadEnvelope, ReadOwn);
BENCHMARK_TEMPLATE(ReadEnvelope, ReadPugixml);
BENCHMARK_TEMPLATE(ReadEnvelope, ReadTinyxml2);

template <void (*Read)(const Reading&)>
void ReadConfiguration(benchmark::State& state) {
    for (auto _ : state) {
        Read(Configuration());
    }
}
BENCHMARK_TEMPLATE(ReadConfiguration, ReadOwn);
BENCHMARK_TEMPLATE(ReadConfiguration, ReadPugixml);
BENCHMARK_TEMPLATE(ReadConfiguration, ReadTinyxml2);

template <void (*Build)()>
void BuildTicket(benchmark::State& state) {
    for (auto _ : state) {
        Build();
    }
}
BENCHMARK_TEMPLATE(BuildTicket, BuildOwn);
BENCHMARK_TEMPLATE(BuildTicket, BuildPugixml);
BENCHMARK_TEMPLATE(BuildTicket, BuildTinyxml2);

// Time per byte must not grow with the text.
template <void (*Read)(const Reading&)>
void ReadLarge(benchmark::State& state) {
    const Reading reading =
        MakeReading(ConfigurationText(static_cast<size_t>(state.range(0))), {{"FunCfg", "Setting9", "Url"}});
    for (auto _ : state) {
        Read(reading);
    }
}
BENCHMARK_TEMPLATE(ReadLarge, ReadOwn)->RangeMultiplier(1000)->Range(10'000, 10'000'000);
BENCHMARK_TEMPLATE(ReadLarge, ReadPugixml)->RangeMultiplier(1000)->Range(10'000, 10'000'000);

// Settings added one after the other, under names that all differ.
void AddOwn(const std::vector<std::string>& names) {
    CMarkup document;
    document.SetDoc("<conf/>");
    for (const std::string& name : names) {
        document.InsertChildElem(name.c_str(), "value");
    }
    benchmark::DoNotOptimize(document.GetDoc());
}

void AddPugixml(const std::vector<std::string>& names) {
    pugi::xml_document document;
    document.load_string("<conf/>");
    pugi::xml_node root = document.document_element();
    for (const std::string& name : names) {
        root.prepend_child(name.c_str()).text().set("value");
    }
    StringWriter writer;
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    benchmark::DoNotOptimize(writer.text);
}

template <void (*Add)(const std::vector<std::string>&)>
void BuildLarge(benchmark::State& state) {
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(state.range(0)));
    for (int index = 0; index < state.range(0); ++index) {
        names.push_back("Setting" + std::to_string(index));
    }
    for (auto _ : state) {
        Add(names);
    }
}
BENCHMARK_TEMPLATE(BuildLarge, AddOwn)->RangeMultiplier(100)->Range(100, 100'000);
BENCHMARK_TEMPLATE(BuildLarge, AddPugixml)->RangeMultiplier(100)->Range(100, 100'000);

}  // namespace

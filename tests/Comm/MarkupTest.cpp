#include "Markup.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Document {
    const char* what;
    std::string text;
};

std::string Repeat(const std::string& text, int count) {
    std::string result;
    for (int index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

// "<config>...": something of everything that the portal's documents hold.
const char kConfig[] =
    "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n<!-- served by the portal -->\n"
    "<config>\n  <ticket-url>http://h/t?a=1&amp;b=2</ticket-url>\n"
    "  <auth><type>jvn-http-pap</type></auth>\n  "
    "<auth><type>jvn-mobile-qr</type><default>Yes</default></auth>\n"
    "  <server-clusters servers='1.2.3.4,5.6.7.8' />\n"
    "  <note>a<!-- not seen -->b<![CDATA[<&>]]>c</note>\n</config>\n";

const Document kGood[] = {
    {"root alone", "<a/>"},
    {"white space inside tags", "<a b = \"1\"\n c='2' ></a >"},
    {"declaration and DOCTYPE",
     "<?xml version='1.0'?><!DOCTYPE a [<!ENTITY b \"]>\"><!-- ' --><?p > ?>]><a/>"},
    {"byte-order mark and blanks around", "\xEF\xBB\xBF \n<a/>\n "},
    {"the other quote inside a value", "<a b='\"' c=\"'\" d='>'/>"},
    {"brackets inside comment, CDATA and instruction",
     "<a><!--<b>--><![CDATA[</a>]]]]><?p <c> ?></a><!-- </d> -->"},
    {"ampersands that start nothing", "<a>&&amp;&;&#;&#x;&nosuch;&</a>"},
    {"GB18030 in name and text", "<\xBD\x5B\xB0\x40>\xBD\x7D</\xBD\x5B\xB0\x40>"},
    {"everything", kConfig},
};

const Document kBad[] = {
    {"nothing", ""},
    {"no element", "<?xml version='1.0'?>"},
    {"no markup", "text"},
    {"unclosed", "<a>"},
    {"unclosed child", "<a><b></a>"},
    {"crossed", "<a><b></a></b>"},
    {"lone end tag", "</a>"},
    {"end tag too many", "<a></a></a>"},
    {"end tag is a prefix", "<ab></a>"},
    {"end tag is longer", "<a></ab>"},
    {"end tag with attribute", "<a></a b='1'>"},
    {"second root", "<a/><b/>"},
    {"no name", "<a>< /a>"},
    {"name starts with a digit", "<1/>"},
    {"name with a quote", "<a\"/>"},
    {"space in the empty tag", "<a/ >"},
    {"attribute without value", "<a b/>"},
    {"attribute without quotes", "<a b=1/>"},
    {"attributes not separated", "<a b='1'c='2'/>"},
    {"attribute twice", "<a b='1' b='2'/>"},
    {"attribute twice among many", "<a b='1' c='' d='' e='' f='' g='' h='' i='' j='' k='' l='' b='2'/>"},
    {"unterminated quote", "<a b='1/>"},
    {"unterminated comment", "<a/><!-- --"},
    {"comment of two dashes", "<a/><!-->"},
    {"unterminated CDATA", "<a><![CDATA[]]</a>"},
    {"CDATA outside the root", "<![CDATA[x]]><a/>"},
    {"unterminated instruction", "<?xml version='1.0'><a/>"},
    {"instruction without name", "<? ?><a/>"},
    {"unterminated DOCTYPE", "<!DOCTYPE a [<!ENTITY b ''><a/>"},
    {"DOCTYPE inside", "<a><!DOCTYPE a></a>"},
    {"unknown declaration", "<!ELEMENT a><a/>"},
};

}  // namespace

TEST(MarkupParser, TellsGoodDocumentsFromBad) {
    for (const Document& row : kGood) {
        SCOPED_TRACE(row.what);
        CMarkup markup;
        EXPECT_TRUE(markup.SetDoc(row.text.c_str()));
        EXPECT_TRUE(markup.IsWellFormed());
        EXPECT_EQ(markup.GetDoc().GetText(), row.text);
    }
    for (const Document& row : kBad) {
        SCOPED_TRACE(row.what);
        CMarkup markup;
        EXPECT_FALSE(markup.SetDoc(row.text.c_str()));
        EXPECT_FALSE(markup.IsWellFormed());
        EXPECT_FALSE(markup.FindElem());
        EXPECT_EQ(markup.GetDoc().GetText(), row.text);
    }
}

TEST(MarkupParser, RefusesEveryTruncation) {
    const std::string whole = kConfig;
    const size_t end = whole.find("</config>") + strlen("</config>");
    CMarkup markup;
    for (size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(markup.SetDoc(whole.substr(0, length).c_str()), length >= end) << length;
    }
}

TEST(MarkupParser, SurvivesHostileShapes) {
    constexpr int kMany = 1'000'000;
    std::string attributes = "<a";
    for (int index = 0; index < 100'000; ++index) {
        attributes += " n" + std::to_string(index) + "='v'";
    }
    const struct {
        const char* what;
        std::string text;
        bool good;
    } rows[] = {
        {"a million levels, unclosed", Repeat("<a>", kMany), false},
        {"a million levels", Repeat("<a>", kMany) + Repeat("</a>", kMany), true},
        {"a million siblings", "<r>" + Repeat("<a/>", kMany) + "</r>", true},
        {"100000 attributes", attributes + "/>", true},
        {"100000 attributes and one twice", attributes + " n5=''/>", false},
        {"a million ampersands and digits", "<a>" + Repeat("&#1", kMany) + Repeat("1", kMany) + ";</a>",
         true},
        {"a million brackets in a DOCTYPE", "<!DOCTYPE a " + Repeat("<", kMany), false},
        {"a million comment starts", "<a>" + Repeat("<!--", kMany), false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CMarkup markup;
        EXPECT_EQ(markup.SetDoc(row.text.c_str()), row.good);
        EXPECT_EQ(markup.FindElem(), row.good);
        EXPECT_EQ(markup.GetSubDoc().GetLength(), row.good ? static_cast<int>(row.text.size()) : 0);
        EXPECT_EQ(markup.GetData().IsEmpty(), row.text.find('&') == std::string::npos);
    }
}

TEST(MarkupText, ResolvesReferencesOnReading) {
    const Document rows[] = {
        {"a<b>c&'\"", "a&lt;b&gt;c&amp;&apos;&quot;"},
        {"A\xE4\xB8\xAD\xF0\x9F\x98\x80", "&#65;&#x4e2D;&#x1F600;"},
        {"&lt;", "&amp;lt;"},
        {"p&ss&word;&", "p&ss&word;&"},
        {"&#; &#x; &#x41 &#-1; &#1114112; &#xD800; &#0; &#99999999999;",
         "&#; &#x; &#x41 &#-1; &#1114112; &#xD800; &#0; &#99999999999;"},
        {"<&amp;>", "<![CDATA[<&amp;>]]>"},
        {"abc", "a<!-- < & -->b<?p <?>c<![CDATA[]]>"},
        {"\xD6\xD0 \t\r\n", "\xD6\xD0 \t\r\n"},
        {"outside", "out<b>in</b>si<c/>de"},
    };
    for (const Document& row : rows) {
        SCOPED_TRACE(row.text);
        CMarkup markup;
        ASSERT_TRUE(markup.SetDoc(("<a>" + row.text + "</a>").c_str()));
        ASSERT_TRUE(markup.FindElem());
        EXPECT_STREQ(markup.GetData(), row.what);
    }
}

TEST(MarkupText, EscapesOnWriting) {
    const struct {
        const char* text;
        int flags;
        const char* escaped;
    } rows[] = {
        {"<a & 'b' \"c\">", 0, "&lt;a &amp; 'b' \"c\"&gt;"},
        {"'\"", CMarkup::MNF_ESCAPEQUOTES, "&apos;&quot;"},
        {"&lt; &#1; &_ &: &1 & &", CMarkup::MNF_WITHREFS, "&lt; &#1; &_ &: &amp;1 &amp; &amp;"},
        {nullptr, 0, ""},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(CMarkup::EscapeText(row.text, row.flags), row.escaped);
    }
    EXPECT_STREQ(CMarkup::UnescapeText("&lt;&#33;"), "<!");
}

TEST(MarkupWalk, CursorsReadAConfiguration) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(kConfig));
    EXPECT_FALSE(markup.FindElem("response"));
    ASSERT_TRUE(markup.FindElem("config"));
    EXPECT_STREQ(markup.GetTagName(), "config");
    ASSERT_TRUE(markup.FindChildElem("ticket-url"));
    EXPECT_STREQ(markup.GetChildData(), "http://h/t?a=1&b=2");
    EXPECT_FALSE(markup.FindChildElem("ticket-url")) << "only one is there";

    ASSERT_TRUE(markup.FindChildElem("auth")) << "the search goes on behind the last child found";
    ASSERT_TRUE(markup.FindChildElem("auth"));
    ASSERT_TRUE(markup.IntoElem());
    ASSERT_TRUE(markup.FindChildElem("default"));
    EXPECT_STREQ(markup.GetChildData(), "Yes");
    ASSERT_TRUE(markup.OutOfElem());
    EXPECT_STREQ(markup.GetTagName(), "config");
    EXPECT_STREQ(markup.GetChildSubDoc(), "<auth><type>jvn-mobile-qr</type><default>Yes</default></auth>");

    EXPECT_FALSE(markup.FindChildElem("ticket-url")) << "it stands in front";
    markup.ResetChildPos();
    ASSERT_TRUE(markup.FindChildElem("server-clusters"));
    EXPECT_STREQ(markup.GetChildAttrib("servers"), "1.2.3.4,5.6.7.8");
    EXPECT_STREQ(markup.GetChildAttrib("server"), "");
    ASSERT_TRUE(markup.FindChildElem());
    EXPECT_STREQ(markup.GetChildData(), "ab<&>c");
    EXPECT_FALSE(markup.FindChildElem());
}

TEST(MarkupWalk, WithoutAPlaceThereIsNothingToRead) {
    CMarkup markup;
    EXPECT_FALSE(markup.IntoElem());
    EXPECT_FALSE(markup.OutOfElem());
    EXPECT_FALSE(markup.FindChildElem());
    EXPECT_FALSE(markup.SetData("x"));
    EXPECT_FALSE(markup.AddChildElem("x"));
    EXPECT_FALSE(markup.InsertChildElem("x"));
    EXPECT_FALSE(markup.AddChildSubDoc("<x/>"));
    const CAutoString values[] = {markup.GetTagName(),       markup.GetData(),          markup.GetChildData(),
                                  markup.GetAttrib("x"),     markup.GetSubDoc(),        markup.GetDoc(),
                                  markup.GetAttrib(nullptr), markup.GetChildAttrib("x")};
    for (const CAutoString& value : values) {
        EXPECT_STREQ(value, "");
    }
}

TEST(MarkupWalk, StreamedDocumentRefuses) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<a><b/></a>"));
    for (const int flag : {CMarkup::MDF_READFILE, CMarkup::MDF_WRITEFILE}) {
        markup.SetDocFlags(flag);
        EXPECT_FALSE(markup.SetDoc("<c/>"));
        EXPECT_FALSE(markup.FindChildElem());
        EXPECT_TRUE(markup.IsWellFormed());
    }
}

TEST(MarkupEdit, RepeatedInsertsComeOutInReverse) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<?xml version=\"1.0\" encoding=\"UTF-8\"?><request></request>"));
    for (const char* name : {"host-name", "user-agent", "client-id"}) {
        ASSERT_TRUE(markup.InsertChildElem(name, name));
    }
    EXPECT_STREQ(markup.GetDoc(),
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?><request><client-id>client-id</client-id>"
                 "<user-agent>user-agent</user-agent><host-name>host-name</host-name></request>");
    ASSERT_TRUE(markup.AddChildSubDoc("<?xml version='1.0'?>\n<sub> <x y='1'/>\n</sub>\n"));
    ASSERT_TRUE(markup.InsertChildElem("shared", "2"));
    const std::string end = "</host-name><shared>2</shared><sub> <x y='1'/>\n</sub></request>";
    const std::string text = markup.GetDoc().GetText();
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

TEST(MarkupEdit, PutsElementsWhereTheCursorsStand) {
    CMarkup markup;
    EXPECT_TRUE(markup.AddElem("r"));
    EXPECT_FALSE(markup.AddChildElem("no name"));
    EXPECT_FALSE(markup.AddChildElem(nullptr));
    EXPECT_FALSE(markup.AddChildSubDoc("<x/><y/>"));
    EXPECT_TRUE(markup.AddChildElem("b", "2"));
    EXPECT_TRUE(markup.AddChildElem("d", "4"));
    EXPECT_TRUE(markup.InsertChildElem("c", "]]>", CMarkup::MNF_WITHCDATA));
    markup.ResetChildPos();
    EXPECT_TRUE(markup.InsertChildElem("a"));
    EXPECT_TRUE(markup.IntoElem());
    EXPECT_TRUE(markup.SetData(1));
    EXPECT_TRUE(markup.AddElem("e"));
    EXPECT_STREQ(markup.GetDoc(), "<r><a>1</a><e></e><b>2</b><c><![CDATA[]]]]><![CDATA[>]]></c><d>4</d></r>");
    EXPECT_TRUE(markup.FindElem("c"));
    EXPECT_STREQ(markup.GetData(), "]]>");

    EXPECT_TRUE(markup.OutOfElem());
    EXPECT_STREQ(markup.GetChildSubDoc(), "<c><![CDATA[]]]]><![CDATA[>]]></c>");
    EXPECT_TRUE(markup.AddElem("second"));
    EXPECT_FALSE(markup.IsWellFormed());
}

TEST(MarkupEdit, LeavesTheTextAroundAlone) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<!--1--><r>\n <a/>\n <b x='1' />\n</r>\n<!--2-->"));
    ASSERT_TRUE(markup.FindChildElem("b"));
    ASSERT_TRUE(markup.InsertChildElem("n"));
    ASSERT_TRUE(markup.FindChildElem("b"));
    ASSERT_TRUE(markup.IntoElem());
    ASSERT_TRUE(markup.AddChildElem("c"));
    EXPECT_STREQ(markup.GetAttrib("x"), "1");
    EXPECT_STREQ(markup.GetDoc(), "<!--1--><r>\n <a/>\n <n></n><b x='1' ><c></c></b>\n</r>\n<!--2-->");
    EXPECT_STREQ(markup.GetSubDoc(), "<b x='1' ><c></c></b>");
}

TEST(MarkupEdit, ReplacedTextsAreForgotten) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<r> <a/> <b>keep</b> </r>"));
    ASSERT_TRUE(markup.FindChildElem("a"));
    ASSERT_TRUE(markup.IntoElem());
    for (int round = 0; round < 20'000; ++round) {
        ASSERT_TRUE(markup.SetData(round));
        ASSERT_TRUE(markup.AddChildSubDoc("<x><y/><z>1</z></x>"));
    }
    EXPECT_STREQ(markup.GetDoc(), "<r> <a>19999<x><y/><z>1</z></x></a> <b>keep</b> </r>");
    const CMarkup copy = markup;
    ASSERT_TRUE(markup.SetData(""));
    EXPECT_STREQ(copy.GetDoc(), "<r> <a>19999<x><y/><z>1</z></x></a> <b>keep</b> </r>");
    EXPECT_STREQ(markup.GetDoc(), "<r> <a></a> <b>keep</b> </r>");
}

#include "Markup.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

std::string Repeat(const std::string& text, int count) {
    std::string result;
    for (int index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

// Something of everything that the portal's documents hold.
const char kConfig[] =
    "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n<!-- served by the portal -->\n"
    "<config>\n  <ticket-url>http://h/t?a=1&amp;b=2</ticket-url>\n"
    "  <auth><type>jvn-http-pap</type></auth>\n  "
    "<auth><type>jvn-mobile-qr</type><default>Yes</default></auth>\n"
    "  <server-clusters servers='1.2.3.4,5.6.7.8' />\n"
    "  <note>a<!-- not seen -->b<![CDATA[<&>]]>c</note>\n</config>\n";

const char* const kGood[] = {
    // White space wherever it may stand, and a byte-order mark.
    "<a b = \"1\"\n c='2' ></a >",
    "\xEF\xBB\xBF \n<a/>\n ",
    // Brackets and quotes that are no markup.
    "<?xml version='1.0'?><!DOCTYPE a [<!ENTITY b \"]>\"><!-- ' --><?p > ?>]><a/>",
    "<a b='\"' c=\"'\" d='>'/>",
    "<a><!--<b>--><![CDATA[</a>]]]]><?p <c> ?></a><!-- </d> -->",
    // Ampersands that start nothing.
    "<a>&&amp;&;&#;&#x;&nosuch;&</a>",
    // GB18030 in name and text.
    "<\xBD\x5B\xB0\x40>\xBD\x7D</\xBD\x5B\xB0\x40>",
    kConfig,
};

const char* const kBad[] = {
    // No root, or one that does not end.
    "",
    "<?xml version='1.0'?>",
    "text",
    "<a>",
    "<a><b></a>",
    // End tags that do not fit.
    "<a><b></a></b>",
    "</a>",
    "<a></a></a>",
    "<ab></a>",
    "<a></ab>",
    "<a></a b='1'>",
    // Roots too many, names that are none.
    "<a/><b/>",
    "<a>< /a>",
    "<1/>",
    "<a\"/>",
    "<a/ >",
    // Attributes: no value, no quotes, no space between, one of them twice, no end.
    "<a b/>",
    "<a b=1/>",
    "<a b='1'c='2'/>",
    "<a b='1' b='2'/>",
    "<a b='1' c='' d='' e='' f='' g='' h='' i='' j='' k='' l='' b='2'/>",
    "<a b='1/>",
    // Comments and CDATA sections that do not end or stand where they must not.
    "<a/><!-- --",
    "<a/><!-->",
    "<a><![CDATA[]]</a>",
    "<![CDATA[x]]><a/>",
    // Instructions and declarations.
    "<?xml version='1.0'><a/>",
    "<? ?><a/>",
    "<!DOCTYPE a [<!ENTITY b ''><a/>",
    "<a><!DOCTYPE a></a>",
    "<!ELEMENT a><a/>",
};

}  // namespace

TEST(MarkupParser, TellsGoodDocumentsFromBad) {
    for (const char* text : kGood) {
        SCOPED_TRACE(text);
        CMarkup markup;
        EXPECT_TRUE(markup.SetDoc(text));
        EXPECT_TRUE(markup.IsWellFormed());
        EXPECT_STREQ(markup.GetDoc(), text);
    }
    for (const char* text : kBad) {
        SCOPED_TRACE(text);
        CMarkup markup;
        EXPECT_FALSE(markup.SetDoc(text));
        EXPECT_FALSE(markup.IsWellFormed());
        EXPECT_FALSE(markup.FindElem());
        EXPECT_STREQ(markup.GetDoc(), text);
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
    const std::string reference = Repeat("&#1", kMany) + Repeat("1", kMany) + ";";
    const std::tuple<const char*, std::string, bool> rows[] = {
        {"a million levels, unclosed", Repeat("<a>", kMany), false},
        {"a million levels", Repeat("<a>", kMany) + Repeat("</a>", kMany), true},
        {"a million siblings", "<r>" + Repeat("<a/>", kMany) + "</r>", true},
        {"100000 attributes", attributes + "/>", true},
        {"100000 attributes and one twice", attributes + " n5=''/>", false},
        {"a million ampersands and digits", "<a>" + reference + "</a>", true},
        {"a million brackets in a DOCTYPE", "<!DOCTYPE a " + Repeat("<", kMany), false},
        {"a million comment starts", "<a>" + Repeat("<!--", kMany), false},
    };
    for (const auto& [what, text, good] : rows) {
        SCOPED_TRACE(what);
        CMarkup markup;
        EXPECT_EQ(markup.SetDoc(text.c_str()), good);
        EXPECT_EQ(markup.FindElem(), good);
        EXPECT_EQ(markup.GetSubDoc().GetLength(), good ? static_cast<int>(text.size()) : 0);
        EXPECT_EQ(markup.GetData().IsEmpty(), text.find('&') == std::string::npos);
    }
}

TEST(MarkupText, ResolvesReferencesOnReading) {
    const char kNone[] = "p&ss&word;& &#; &#x; &#x41 &#-1; &#1114112; &#xD800; &#0; &#99999999999;";
    const std::pair<const char*, const char*> rows[] = {
        {"a&lt;b&gt;c&amp;&apos;&quot;", "a<b>c&'\""},
        {"&#65;&#x4e2D;&#x1F600;&amp;lt;", "A\xE4\xB8\xAD\xF0\x9F\x98\x80&lt;"},
        {kNone, kNone},
        {"a<!-- < & -->b<?p <?>c<![CDATA[<&amp;>]]>", "abc<&amp;>"},
        {"\xD6\xD0 \t\r\nout<b>in</b>si<c/>de", "\xD6\xD0 \t\r\noutside"},
    };
    for (const auto& [text, data] : rows) {
        SCOPED_TRACE(text);
        CMarkup markup;
        ASSERT_TRUE(markup.SetDoc((std::string("<a>") + text + "</a>").c_str()));
        ASSERT_TRUE(markup.FindElem());
        EXPECT_STREQ(markup.GetData(), data);
    }
}

TEST(MarkupText, EscapesOnWriting) {
    EXPECT_STREQ(CMarkup::EscapeText("<a & 'b' \"c\">"), "&lt;a &amp; 'b' \"c\"&gt;");
    EXPECT_STREQ(CMarkup::EscapeText("'\"", CMarkup::MNF_ESCAPEQUOTES), "&apos;&quot;");
    EXPECT_STREQ(CMarkup::EscapeText("&lt; &#1; &_ &: &1 &", CMarkup::MNF_WITHREFS),
                 "&lt; &#1; &_ &: &amp;1 &amp;");
    EXPECT_STREQ(CMarkup::EscapeText(nullptr), "");
    EXPECT_STREQ(CMarkup::UnescapeText("&lt;&#33;"), "<!");
}

TEST(MarkupWalk, CursorsReadAConfiguration) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(kConfig));
    EXPECT_FALSE(markup.FindElem("response"));
    ASSERT_TRUE(markup.FindElem("config"));
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

TEST(MarkupWalk, WithoutAPlaceThereIsNothingToReadOrChange) {
    CMarkup markup;
    EXPECT_FALSE(markup.IntoElem() || markup.OutOfElem() || markup.FindChildElem() || markup.SetData("x"));
    EXPECT_FALSE(markup.AddChildElem("x") || markup.InsertChildElem("x") || markup.AddChildSubDoc("<x/>"));
    EXPECT_EQ(markup.GetTagName() + markup.GetData() + markup.GetSubDoc() + markup.GetDoc(), "");
    EXPECT_EQ(markup.GetChildData() + markup.GetAttrib(nullptr) + markup.GetChildAttrib("x"), "");
}

TEST(MarkupWalk, StreamedDocumentRefuses) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<a><b/></a>"));
    for (const int flag : {CMarkup::MDF_READFILE, CMarkup::MDF_WRITEFILE}) {
        markup.SetDocFlags(flag);
        EXPECT_FALSE(markup.SetDoc("<c/>") || markup.FindChildElem());
        EXPECT_TRUE(markup.IsWellFormed());
    }
}

TEST(MarkupEdit, RepeatedInsertsComeOutInReverse) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<?xml version=\"1.0\" encoding=\"UTF-8\"?><request></request>"));
    for (const char* name : {"host-name", "user-agent", "client-id"}) {
        ASSERT_TRUE(markup.InsertChildElem(name, name));
    }
    ASSERT_TRUE(markup.AddChildSubDoc("<?xml version='1.0'?>\n<sub> <x y='1'/>\n</sub>\n"));
    ASSERT_TRUE(markup.InsertChildElem("shared", "2"));
    EXPECT_STREQ(markup.GetDoc(),
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?><request><client-id>client-id</client-id>"
                 "<user-agent>user-agent</user-agent><host-name>host-name</host-name>"
                 "<shared>2</shared><sub> <x y='1'/>\n</sub></request>");
}

TEST(MarkupEdit, PutsElementsWhereTheCursorsStand) {
    CMarkup markup;
    EXPECT_TRUE(markup.AddElem("r"));
    EXPECT_FALSE(markup.AddChildElem("no name") || markup.AddChildElem(nullptr));
    EXPECT_FALSE(markup.AddChildSubDoc("<x/><y/>"));
    EXPECT_TRUE(markup.AddChildElem("b", "2") && markup.AddChildElem("d", "4"));
    EXPECT_TRUE(markup.InsertChildElem("c", "]]>", CMarkup::MNF_WITHCDATA));
    markup.ResetChildPos();
    EXPECT_TRUE(markup.InsertChildElem("a") && markup.IntoElem());
    EXPECT_TRUE(markup.SetData(1) && markup.AddElem("e"));
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
    ASSERT_TRUE(markup.FindChildElem("b") && markup.InsertChildElem("n"));
    ASSERT_TRUE(markup.FindChildElem("b") && markup.IntoElem() && markup.AddChildElem("c"));
    EXPECT_STREQ(markup.GetAttrib("x"), "1");
    EXPECT_STREQ(markup.GetDoc(), "<!--1--><r>\n <a/>\n <n></n><b x='1' ><c></c></b>\n</r>\n<!--2-->");
    EXPECT_STREQ(markup.GetSubDoc(), "<b x='1' ><c></c></b>");
}

TEST(MarkupEdit, ReplacedTextsAreForgotten) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<r> <a/> <b>keep</b> </r>"));
    ASSERT_TRUE(markup.FindChildElem("a") && markup.IntoElem());
    for (int round = 0; round < 20'000; ++round) {
        ASSERT_TRUE(markup.SetData(round) && markup.AddChildSubDoc("<x><y/><z>1</z></x>"));
    }
    const CMarkup copy = markup;
    ASSERT_TRUE(markup.SetData(""));
    EXPECT_STREQ(copy.GetDoc(), "<r> <a>19999<x><y/><z>1</z></x></a> <b>keep</b> </r>");
    EXPECT_STREQ(markup.GetDoc(), "<r> <a></a> <b>keep</b> </r>");
}

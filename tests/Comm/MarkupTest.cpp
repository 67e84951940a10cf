#include "Markup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>

namespace {

std::string Repeat(const std::string& text, int count) {
    return count == 0 ? "" : count % 2 == 0 ? Repeat(text + text, count / 2) : text + Repeat(text, count - 1);
}

// Something of everything that the portal's documents hold.
const char kConfig[] =
    "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n<!-- served by the portal -->\n"
    "<config>\n  <ticket-url>http://h/t?a=1&amp;b=2</ticket-url>\n"
    "  <auth><type>jvn-http-pap</type></auth>\n  "
    "<auth><type>jvn-mobile-qr</type><default>Yes</default></auth>\n"
    "  <server-clusters servers='1.2.3.4,5.6.7.8' />\n"
    "  <note>a<!-- not seen -->b<![CDATA[<&>]]>c</note>\n</config>\n";

// clang-format off
const char* const kGood[] = {
    // White space wherever it may stand, and a byte-order mark.
    "<a b = \"1\"\n c='2' ></a >", "\xEF\xBB\xBF \n<a/>\n ",
    // Brackets and quotes that are no markup.
    "<?xml version='1.0'?><!DOCTYPE a [<!ENTITY b \"]>\"><!-- ' --><?p > ?>]><a/>",
    "<a b='\"' c=\"'\" d='>'/>", "<a><!--<b>--><![CDATA[</a>]]]]><?p <c> ?></a><!-- </d> -->",
    // Ampersands that start nothing, GB18030 in name and text.
    "<a>&&amp;&;&#;&#x;&nosuch;&</a>", "<\xBD\x5B\xB0\x40>\xBD\x7D</\xBD\x5B\xB0\x40>", kConfig,
};
const char* const kBad[] = {
    // No root, or one that does not end.
    "", "<?xml version='1.0'?>", "text", "<a>", "<a><b></a>",
    // End tags that do not fit.
    "<a><b></a></b>", "</a>", "<a></a></a>", "<ab></a>", "<a></ab>", "<a></a b='1'>",
    // A second root, names that are none.
    "<a/><b/>", "<a>< /a>", "<1/>", "<a\"/>", "<a/ >",
    // Attributes: no value, no equals sign, no quotes, no space between, one of them twice, no end.
    "<a b/>", "<a b '1'/>", "<a b=1/>", "<a b='1'c='2'/>", "<a b='1' b='2'/>", "<a b='1/>",
    "<a b='1' c='' d='' e='' f='' g='' h='' i='' j='' k='' l='' b='2'/>",
    // Comments and CDATA sections that do not end or stand where they must not.
    "<a/><!-- --", "<a/><!-->", "<a><![CDATA[]]</a>", "<![CDATA[x]]><a/>",
    // Instructions and declarations.
    "<?xml version='1.0'><a/>", "<? ?><a/>", "<!DOCTYPE a [<!ENTITY b ''><a/>", "<a><!DOCTYPE a></a>",
    "<!ELEMENT a><a/>",
};
// clang-format on

void ExpectParsed(const std::string& text, bool good) {
    SCOPED_TRACE(text);
    CMarkup markup;
    EXPECT_EQ(markup.SetDoc(text.c_str()), good);
    EXPECT_EQ(markup.IsWellFormed(), good);
    EXPECT_EQ(markup.FindElem(), good);
    EXPECT_EQ(markup.GetDoc(), text);
}

}  // namespace

TEST(MarkupParser, TellsGoodDocumentsFromBad) {
    std::for_each(std::begin(kGood), std::end(kGood), [](const char* text) { ExpectParsed(text, true); });
    std::for_each(std::begin(kBad), std::end(kBad), [](const char* text) { ExpectParsed(text, false); });
    const std::string whole = kConfig;
    const size_t end = whole.find("</config>") + strlen("</config>");
    for (size_t length = 0; length < whole.size(); ++length) {
        ExpectParsed(whole.substr(0, length), length >= end);
    }
}

TEST(MarkupParser, SurvivesHostileShapes) {
    constexpr int kMany = 1'000'000;
    std::string attributes = "<a";
    for (int index = 0; index < 100'000; ++index) {
        attributes += " n" + std::to_string(index) + "='v'";
    }
    const std::tuple<const char*, std::string, bool> rows[] = {
        {"a million levels", Repeat("<a>", kMany) + Repeat("</a>", kMany), true},
        {"a million siblings", "<r>" + Repeat("<a/>", kMany) + "</r>", true},
        {"100000 attributes and one twice", attributes + " n5=''/>", false},
        {"a million ampersands", "<a>" + Repeat("&#1", kMany) + "</a>", true},
        {"a million brackets in a DOCTYPE", "<!DOCTYPE a " + Repeat("<", kMany), false},
        {"a million comment starts", "<a>" + Repeat("<!--", kMany), false},
    };
    for (const auto& [what, text, good] : rows) {
        SCOPED_TRACE(what);
        CMarkup markup;
        EXPECT_EQ(markup.SetDoc(text.c_str()), good);
        EXPECT_EQ(markup.FindElem(), good);
        EXPECT_EQ(markup.GetSubDoc().GetLength(), good ? static_cast<int>(text.size()) : 0);
    }
}

TEST(MarkupText, IsReadAsItIsMeant) {
    const char kNone[] = "p&ss&word;& &#; &#x; &#x41 &#-1; &#1114112; &#xD800; &#0; &#99999999999;";
    const std::pair<const char*, const char*> rows[] = {
        {"a&lt;b&gt;c&amp;&apos;&quot;", "a<b>c&'\""},
        {"&#65;&#x4e2D;&#x1F600;&amp;lt;", "A\xE4\xB8\xAD\xF0\x9F\x98\x80&lt;"},
        {kNone, kNone},
        {"a<!-- < & -->b<?p <?>c<![CDATA[<&amp;>]]>", "abc<&amp;>"},
        {"\xD6\xD0 \t\r\nout<b>in</b>si<c/>de", "\xD6\xD0 \t\r\noutside"},
    };
    for (const auto& [text, data] : rows) {
        CMarkup markup;
        ASSERT_TRUE(markup.SetDoc((std::string("<a>") + text + "</a>").c_str()) && markup.FindElem());
        EXPECT_STREQ(markup.GetData(), data);
    }
    EXPECT_STREQ(CMarkup::EscapeText("<&lt; &_ &1 '\">", CMarkup::MNF_WITHREFS | CMarkup::MNF_ESCAPEQUOTES),
                 "&lt;&lt; &_ &amp;1 &apos;&quot;&gt;");
}

TEST(MarkupEdit, RepeatedInsertsComeOutInReverse) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<?xml version=\"1.0\"?><request></request>"));
    ASSERT_TRUE(markup.InsertChildElem("host-name", "h") && markup.InsertChildElem("client-id", "c"));
    ASSERT_TRUE(markup.AddChildSubDoc("<?xml version='1.0'?>\n<sub> <x y='1'/>\n</sub>\n"));
    ASSERT_TRUE(markup.InsertChildElem("shared", "2"));
    EXPECT_STREQ(markup.GetDoc(),
                 "<?xml version=\"1.0\"?><request><client-id>c</client-id><host-name>h</host-name>"
                 "<shared>2</shared><sub> <x y='1'/>\n</sub></request>");
}

TEST(MarkupEdit, ReplacedTextsAreForgotten) {
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc("<r> <a/> <b>keep</b> </r>"));
    ASSERT_TRUE(markup.FindChildElem("a") && markup.IntoElem());
    for (int round = 0; round < 20'000; ++round) {
        ASSERT_TRUE(markup.SetData(round) && markup.AddChildSubDoc("<x><y/><z>1</z></x>"));
    }
    EXPECT_STREQ(markup.GetDoc(), "<r> <a>19999<x><y/><z>1</z></x></a> <b>keep</b> </r>");
}

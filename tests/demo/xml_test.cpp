#include "demo/xml.h"

#include <gtest/gtest.h>

namespace tmx::demo {
namespace {

TEST(Xml, LeavesHavePathsAttributesAndText) {
  const auto document = ParseXml(
      "\xEF\xBB\xBF<?xml version=\"1.0\"?><!DOCTYPE x><n:a xmlns:n=\"u\"><!-- <z> --><b c='1'> x "
      "</b>"
      "<b/><d>y<e>z</e>w</d></n:a>\n");
  ASSERT_TRUE(document);
  EXPECT_EQ(document->root_attributes, " xmlns:n=\"u\"");
  ASSERT_EQ(document->leaves.size(), 3U);
  EXPECT_EQ(document->leaves[0].path, "a/b");
  EXPECT_EQ(document->leaves[0].attributes, " c='1'");
  EXPECT_EQ(document->leaves[0].text, "x");
  EXPECT_EQ(document->leaves[1].text, "");
  EXPECT_EQ(document->leaves[2].path, "a/d/e");
  EXPECT_EQ(document->Find("d/e").size(), 1U);
  EXPECT_EQ(document->Find("b").size(), 2U);
  EXPECT_EQ(document->Find("/b").size(), 0U);
  EXPECT_EQ(document->Find("a/d/e").size(), 1U);
}

std::string TextOf(const std::string& text) {
  const auto document = ParseXml("<a>" + text + "</a>");
  return document ? document->leaves.at(0).text : "no XML";
}

TEST(Xml, EntitiesAndUtf8BecomeLatin1) {
  EXPECT_EQ(TextOf("&lt;&gt;&amp;&quot;&apos;"), "<>&\"'");
  EXPECT_EQ(TextOf("&#65;&#x42;&#xE4;&#x20AC;"), "AB\xE4.");
  EXPECT_EQ(TextOf("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80!"), "\xE4..!");
  // What is neither stays as it is.
  EXPECT_EQ(TextOf("&nbsp; & &; &#; &#x; &#-1; &#6a; &" + std::string(20, 'l') + ";"),
            "&nbsp; & &; &#; &#x; &#-1; &#6a; &" + std::string(20, 'l') + ";");
  EXPECT_EQ(TextOf("\xE4\xC3"), "\xE4\xC3");
}

TEST(Xml, TagsThatDoNotMatchAreNoXml) {
  for (const char* const text : {"", "text", "<a>", "</a>", "<a></b>", "<a><b></a></b>", "<a",
                                 "<!-- ", "<?x", "<!x", "<>", "<a></a><b></b>", "<a/><a/>"})
    EXPECT_FALSE(ParseXml(text)) << text;
  EXPECT_FALSE(ParseXml("<" + std::string(65, 'a') + "/>"));
  EXPECT_TRUE(ParseXml("<" + std::string(64, 'a') + "/>"));
}

TEST(Xml, DepthIsBounded) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  EXPECT_FALSE(ParseXml(deep));
}

TEST(Xml, TextIsWrittenInUtf8WithEntities) {
  EXPECT_EQ(EscapedXml("a<b>&\"'\xE2\x82\xAC"), "a&lt;b&gt;&amp;&quot;&apos;\xE2\x82\xAC");
  EXPECT_EQ(XmlText("a<b>&\"'\xE4"), "a&lt;b&gt;&amp;&quot;&apos;\xC3\xA4");
}

}  // namespace
}  // namespace tmx::demo

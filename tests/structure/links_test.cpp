// Links of the documents and help pages to other files of this tree lead somewhere.

#include <filesystem>
#include <regex>

#include "tests/structure/source_tree.h"

namespace {

using kiv::structure::SourceFile;
using testing::ElementsAre;
using testing::IsEmpty;

// What the text links to, without what leads out of the tree: [text](target) and ![text](target), href="target" and
// src="target", both outside of code.
std::vector<std::string> LinksOf(const std::string& text) {
  static const std::regex kCode("```[\\s\\S]*?```|`[^`\\n]*`");
  static const std::regex kLink(R"re(\]\(([^)\s]+)[^)]*\)|(?:href|src)="([^"]*)")re");
  static const std::regex kElsewhere("^([a-z]+:|//|#).*");
  const std::string plain = std::regex_replace(text, kCode, "");
  std::vector<std::string> links;
  for (std::sregex_iterator match(plain.begin(), plain.end(), kLink), end; match != end; ++match) {
    const std::string target = (*match)[1].matched ? (*match)[1].str() : (*match)[2].str();
    if (!std::regex_match(target, kElsewhere)) links.push_back(target.substr(0, target.find('#')));
  }
  return links;
}

TEST(Links, LeadToFilesOfThisTree) {
  const std::filesystem::path root = kiv::structure::ProjectFolder();
  std::size_t found = 0;
  for (const SourceFile& file : kiv::structure::ReadTree(root, {".md", ".html"})) {
    for (const std::string& link : LinksOf(file.text)) {
      ++found;
      std::string path = std::regex_replace(link, std::regex("%20"), " ");
      EXPECT_TRUE(std::filesystem::exists((root / file.path).parent_path() / path)) << file.path << ": " << link;
    }
  }
  EXPECT_GE(found, 10U);
}

TEST(Links, AreFoundInMarkdownAndPages) {
  EXPECT_THAT(LinksOf("[a](b.md) and ![c](d/e.png \"title\"), [f](https://example.org), [g](#h), [i](j.md#k)"),
              ElementsAre("b.md", "d/e.png", "j.md"));
  EXPECT_THAT(LinksOf("<a href=\"1.html\">x</a><img src=\"y.png\"><a href=\"mailto:a@example.org\">"),
              ElementsAre("1.html", "y.png"));
  EXPECT_THAT(LinksOf("`[not](a link)` and\n```\n[nor](this.md)\n```\n"), IsEmpty());
}

}  // namespace

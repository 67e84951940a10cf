// Reads the documents whose files standard input names, one a line. Answers each with a line
//   read LENGTH LENGTH      or      refused
// and behind the first form the two texts of these lengths: what the elements hold, and the root put into
// another document, as that one reads.
#include <iostream>
#include <string>

#include "Markup.h"

namespace {

// No document can hold these.
constexpr char kRecordEnd = '\x1e';
constexpr char kFieldEnd = '\x1f';

void AppendField(const std::string& text, std::string& out) {
    out += text;
    out += kFieldEnd;
}

// One element: its depth, its name, its text, then name and value of each attribute.
void AppendElement(const CMarkup& markup, size_t depth, std::string& out) {
    const std::string name = markup.GetTagName().GetText();
    const std::string whole = markup.GetSubDoc().GetText();
    AppendField(std::to_string(depth), out);
    AppendField(name, out);
    AppendField(markup.GetData().GetText(), out);
    AttribScanner attributes(whole.c_str() + 1 + name.size());
    while (attributes.Next()) {
        const std::string attribute(attributes.Name());
        AppendField(attribute, out);
        AppendField(markup.GetAttrib(attribute.c_str()).GetText(), out);
    }
    out += kRecordEnd;
}

// Depth first, with nothing but the cursors.
std::string Elements(CMarkup& markup) {
    std::string out;
    size_t depth = 0;
    markup.FindElem();
    AppendElement(markup, depth, out);
    do {
        while (markup.FindChildElem() && markup.IntoElem()) {
            AppendElement(markup, ++depth, out);
        }
        --depth;
    } while (markup.OutOfElem());
    return out;
}

std::string PutIntoAnother(CMarkup& markup) {
    CMarkup other;
    other.SetDoc("<other/>");
    other.AddChildSubDoc(markup.GetSubDoc());
    return other.GetDoc().GetText();
}

}  // namespace

int main() {
    for (std::string file; std::getline(std::cin, file);) {
        CMarkup markup;
        if (!markup.Load(file.c_str())) {
            std::cout << "refused" << std::endl;
            continue;
        }
        const std::string elements = Elements(markup);
        const std::string another = PutIntoAnother(markup);
        std::cout << "read " << elements.size() << " " << another.size() << std::endl;
        std::cout << elements << another << std::flush;
    }
}

// Walks and edits a document beside one of another library. Each line is one operation, its first letter,
// with the name and the text of an element: "aname=text".
#include <pugixml.hpp>
#include <sstream>

#include "Fuzz.h"
#include "Markup.h"

namespace {

// The cursors, as CMarkup has them; a null node is no position.
struct Model {
    // The next element of that name, or of any, behind `after` or else the first one.
    static pugi::xml_node Next(pugi::xml_node above, pugi::xml_node after, const std::string& name) {
        if (!name.empty()) {
            return after ? after.next_sibling(name.c_str()) : above.child(name.c_str());
        }
        const pugi::xml_node next = after ? after.next_sibling() : above.first_child();
        return next.type() == pugi::node_pcdata ? next.next_sibling() : next;
    }
    static bool Move(pugi::xml_node& cursor, pugi::xml_node to) { return to && (cursor = to, true); }
    bool FindElem(const std::string& name) {
        return Move(main, Next(parent, main, name)) && (child = {}, true);
    }
    bool HasMain() { return main || FindElem(""); }
    bool FindChildElem(const std::string& name) { return HasMain() && Move(child, Next(main, child, name)); }
    bool IntoElem() { return main && (parent = main, main = child, child = {}, true); }
    bool OutOfElem() {
        return parent.parent() && (child = main, main = parent, parent = parent.parent(), true);
    }
    bool AddChild(bool isLast, const std::string& name, const std::string& text) {
        if (!HasMain() || name.empty()) {
            return false;
        }
        const pugi::xml_node next = isLast || child ? child : Next(main, {}, "");
        child =
            isLast || !next ? main.append_child(name.c_str()) : main.insert_child_before(name.c_str(), next);
        return SetText(child, text);
    }
    static bool SetText(pugi::xml_node element, const std::string& text) {
        return element && element.remove_children() &&
               (text.empty() || element.append_child(pugi::node_pcdata).set_value(text.c_str()));
    }

    pugi::xml_document document;
    pugi::xml_node parent = document;
    pugi::xml_node main, child;
};

// Whether both sides return the same for one operation.
bool Do(char operation, const std::string& name, const std::string& text, CMarkup& markup, Model& model) {
    const char* const wanted = name.empty() ? nullptr : name.c_str();
    switch (operation) {
        case 'f': return markup.FindElem(wanted) == model.FindElem(name);
        case 'c': return markup.FindChildElem(wanted) == model.FindChildElem(name);
        case '>': return markup.IntoElem() == model.IntoElem();
        case '<': return markup.OutOfElem() == model.OutOfElem();
        case 'i': return markup.InsertChildElem(wanted, text.c_str()) == model.AddChild(false, name, text);
        case 'a': return markup.AddChildElem(wanted, text.c_str()) == model.AddChild(true, name, text);
        case 't': model.child = {}; return markup.SetData(text.c_str()) == Model::SetText(model.main, text);
        default:
            model.parent = model.document;
            model.main = model.child = {};
            return markup.SetDoc(markup.GetDoc());
    }
}

std::string TextOf(const pugi::xml_document& document) {
    std::ostringstream text;
    document.save(text, "", pugi::format_raw | pugi::format_no_declaration);
    return text.str();
}

}  // namespace

void Try(std::string_view input) {
    CMarkup markup;
    Require(markup.SetDoc("<r/>"));
    Model model;
    (void)model.document.append_child("r");
    while (!input.empty()) {
        const std::string line = Take(input) + " ";
        const size_t equals = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz", 1);
        const std::string text = line.substr(equals + 1, line.size() - equals - 2);
        Require(Do(line[0], line.substr(1, equals - 1), text, markup, model));
        Require(markup.GetTagName() == model.main.name() && markup.GetData() == model.main.child_value());
        Require(markup.GetChildData() == model.child.child_value());
    }
    pugi::xml_document read;
    Require(read.load_string(markup.GetDoc(), pugi::parse_escapes | pugi::parse_ws_pcdata));
    Require(TextOf(read) == TextOf(model.document));
}

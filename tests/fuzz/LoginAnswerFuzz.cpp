// Takes the input for the answer to a login, and for lines that stand in one and are read as they were
// written.
#include "Fuzz.h"
#include "Markup.h"
#include "PortalParser.h"

void Try(std::string_view input) {
    CPortalParser parser;
    const std::string body = Take(input, '\0');
    CAutoString user, keep, term, rules, domain;
    int retries = 7;
    const int result = parser.ParserAuthResponse(body.c_str(), user, retries, keep, term, rules, domain);
    Require(result == 0 || (retries == 7 && (user + keep + term + rules + domain).IsEmpty()));
    (void)parser.GetCheckWifiLogoutTime(rules);
    std::string_view lines = body;
    const std::string first = Take(lines);
    const std::string second =
        "<domain-config>" + CMarkup::EscapeText(Take(lines).c_str()).GetText() + "</domain-config>";
    const CAutoString written = "<response><userid>" + CMarkup::EscapeText(first.c_str()) + "</userid>" +
                                second.c_str() + "</response>";
    Require(parser.ParserAuthResponse(written, user, retries, keep, term, rules, domain) == 0);
    Require(user == parser.DecodePostResponseData(first.c_str()) || user == first.c_str());
    Require(domain == parser.DecodePostResponseData(second.c_str()) || domain == second.c_str());
}

// Takes the input for the answer to a pulse and to the request for a ticket; what it does not name stays.
#include "Fuzz.h"
#include "PortalParser.h"
#include "XMLOpt.h"

void Try(std::string_view input) {
    const std::string body = Take(input, '\0');
    CPortalParser parser;
    int interval = 30, level = 1, seconds = 600;
    CAutoString ticket = "former";
    const bool isAnswer = parser.ParserKeepResponse(body.c_str(), interval, level) == 0;
    Require(isAnswer == (parser.ParserTickResponse(body.c_str(), ticket, seconds) == 0));
    CXMLOpt document(parser.DecodePostResponseData(body.c_str()));
    Require(interval == (isAnswer && document.SetXMLPos("interval") ? atoi(document.GetData()) : 30));
    Require(level == (isAnswer && document.SetXMLPos("level") ? atoi(document.GetData()) : 1));
    Require(seconds == (isAnswer && document.SetXMLPos("expire") ? atoi(document.GetData()) : 600));
    Require(ticket == (isAnswer && document.SetXMLPos("ticket") ? document.GetData() : "former"));
}

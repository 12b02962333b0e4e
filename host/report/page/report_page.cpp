// SPDX-License-Identifier: Apache-2.0
#include "host/report/page/report_page.h"

#include <string_view>
#include <utility>

#include "host/report/json_text.h"
#include "host/report/page/page_parts.h"
#include "host/report/summary_json.h"
#include "host/report/timeline/timeline_json.h"

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

// A document within a script element ends at the first "</", and may hold no "<!--".
std::string EmbeddedText(const OrderedJson& document) {
    std::string text;
    for (const char character : JsonLine(document)) {
        text += character == '<' ? std::string("\\u003c") : std::string(1, character);
    }
    return text;
}

std::string EscapedText(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '<':
                escaped += "&lt;";
                break;
            case '&':
                escaped += "&amp;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

}  // namespace

std::string ReportPage(const std::string& scenario, const Findings& findings, const RunTimeline& timeline) {
    const std::string name = JsonLine(OrderedJson(scenario));
    OrderedJson document = {{"schema", 1}, {"scenario", OrderedJson::parse(name)}};
    document["summary"] = SummaryObject(findings);
    document["starts"] = StartsObject(timeline.Starts());
    document["timeline"] = TimelineObject(timeline);
    const std::pair<std::string_view, std::string> parts[] = {
        {"{{TITLE}}", EscapedText(document["scenario"].get<std::string>())},
        {"{{CSS}}", REPORT_CSS},
        {"{{DATA}}", EmbeddedText(document)},
        {"{{JS}}", REPORT_JS},
    };
    std::string page;
    std::string_view rest = REPORT_HTML;
    for (const auto& [place, text] : parts) {
        const size_t at = rest.find(place);
        page += rest.substr(0, at);
        page += text;
        rest.remove_prefix(at + place.size());
    }
    page += rest;
    return page;
}

}  // namespace ZYRA::Host

#include "report.h"

#include <algorithm>

#include "text.h"

namespace kivplug {

namespace {

constexpr std::size_t k_name_width = 13;  // of "description" and a gap

std::string count_text(findings const& found, level weight) {
    auto const count = std::count_if(found.begin(), found.end(), [=](finding const& each) {
        return rule_of(each.rule).weight == weight;
    });
    if (count == 0) {
        return "";
    }
    bool const is_plural = count > 1 && weight != level::advice;
    return std::to_string(count) + " " + level_name(weight) + (is_plural ? "s" : "");
}

json_object json_of(finding const& each) {
    auto const& broken = rule_of(each.rule);
    json_object object;
    object.add("code", broken.code());
    object.add("level", level_name(broken.weight));
    object.add("file", each.where.file);
    object.add("line", each.where.line);
    object.add("column", each.where.column);
    object.add("symbol", each.where.symbol);
    object.add("problem", each.problem);
    object.add("repair", each.repair);
    return object;
}

}  // namespace

std::vector<std::string> all_ids(checked_directory const& checked) {
    std::vector<std::string> ids;
    for (auto const& each : checked.plugins) {
        ids.insert(ids.end(), each.ids.begin(), each.ids.end());
    }
    return ids;
}

char const* level_name(level weight) {
    switch (weight) {
        case level::error:
            return "error";
        case level::warning:
            return "warning";
        default:
            return "advice";
    }
}

std::string place_text(location const& where) {
    auto place = where.text();
    if (where.symbol.empty()) {
        return place;
    }
    return place + (place.empty() ? "" : " ") + "(" + where.symbol + ")";
}

char const* step_name(step of) {
    switch (of) {
        case step::description:
            return "description";
        case step::conflicts:
            return "conflicts";
        case step::binary:
            return "binary";
        default:
            return "trial";
    }
}

std::string verdict(step_report const& report) {
    if (report.is_skipped) {
        return "skipped";
    }
    std::string text;
    for (auto const weight : {level::error, level::warning, level::advice}) {
        auto const count = count_text(report.found, weight);
        text += (text.empty() || count.empty() ? "" : ", ") + count;
    }
    return text.empty() ? "ok" : text;
}

std::string finding_text(finding const& each) {
    auto const& rule = rule_of(each.rule);
    auto const place = place_text(each.where);
    return "    " +
           printable(rule.code() + " " + level_name(rule.weight) + ": " + place +
                     (place.empty() ? "" : ": ") + each.problem) +
           "\n      " + printable(each.repair) + "\n";
}

std::string rule_table() {
    std::string text = "| Code | Level | Mistake | Cause | Cure |\n|---|---|---|---|---|\n";
    for (auto const& each : all_rules()) {
        text += "| " + each.code() + " | " + level_name(each.weight) + " | " + each.name + " | " +
                each.cause + " | " + each.cure + " |\n";
    }
    return text;
}

std::string text_report(checked_directory const& checked) {
    std::string text = printable(checked.path) + "\n";
    for (auto const& id : all_ids(checked)) {
        text += "  " + printable(id) + "\n";
    }
    for (auto const& report : checked.steps) {
        std::string name = step_name(report.of);
        name.resize(k_name_width, ' ');
        text += "  " + name + verdict(report) + "\n";
        for (auto const& each : report.found) {
            text += finding_text(each);
        }
    }
    return text;
}

json_object json_report(checked_directory const& checked) {
    std::vector<json_object> steps;
    for (auto const& report : checked.steps) {
        std::vector<json_object> found;
        std::transform(report.found.begin(), report.found.end(), std::back_inserter(found),
                       json_of);
        json_object object;
        object.add("step", step_name(report.of));
        object.add("verdict", verdict(report));
        object.add("findings", found);
        steps.push_back(object);
    }
    json_object object;
    object.add("directory", checked.path);
    object.add("ids", all_ids(checked));
    object.add("steps", steps);
    return object;
}

}  // namespace kivplug

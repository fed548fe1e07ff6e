#include "cache/verbs/typos.h"

#include <algorithm>

namespace vx::cache {

namespace {

// The optimal string alignment distance.
std::size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t k = 0; k <= b.size(); ++k) {
            if (i == 0 || k == 0) {
                d[i][k] = i + k;
                continue;
            }
            const std::size_t replaced = d[i - 1][k - 1] + (a[i - 1] == b[k - 1] ? 0 : 1);
            d[i][k] = std::min({d[i - 1][k] + 1, d[i][k - 1] + 1, replaced});
            if (i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1]) {
                d[i][k] = std::min(d[i][k], d[i - 2][k - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

std::string suggestion(std::string_view word, const std::vector<std::string>& candidates) {
    const std::string nearest = nearest_word(word, candidates);
    return nearest.empty() ? "" : "; did you mean '" + nearest + "'?";
}

std::vector<std::string> options_of(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
        for (const std::string& name : option->get_snames())
            names.push_back("-" + name);
    }
    return names;
}

// Whether CLI11 takes a word for an option: not for a number or a lone "-".
bool is_option(std::string_view word) {
    if (word.size() < 2 || word[0] != '-') return false;
    const char first = word[1];
    return first == '-' ? word.size() > 2
                        : (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z');
}

} // namespace

std::string nearest_word(std::string_view word, const std::vector<std::string>& candidates) {
    std::string nearest;
    std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t distance = edit_distance(word, candidate);
        if (distance >= least) continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

std::string find_typo(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* verb = nullptr;
    for (const std::string& word : words) {
        if (word == "--") return "";
        if (is_option(word)) {
            const CLI::App& of = verb == nullptr ? app : *verb;
            // Short options may be joined, or be followed by their values.
            const std::string name =
                word[1] == '-' ? word.substr(0, word.find('=')) : word.substr(0, 2);
            const std::vector<std::string> known = options_of(of);
            if (std::find(known.begin(), known.end(), name) != known.end()) continue;
            return "unknown option '" + name + "'" +
                   (verb == nullptr ? "" : " of " + verb->get_name()) + suggestion(name, known);
        }
        if (verb != nullptr) continue;
        std::vector<std::string> verbs;
        for (const CLI::App* const sub :
             app.get_subcommands([](const CLI::App*) { return true; })) {
            verbs.push_back(sub->get_name());
            if (sub->get_name() == word) verb = sub;
        }
        if (verb == nullptr) return "unknown verb '" + word + "'" + suggestion(word, verbs);
    }
    return "";
}

} // namespace vx::cache

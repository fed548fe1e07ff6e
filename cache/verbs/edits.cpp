#include "cache/verbs/edits.h"

#include "cache/cloud/edited.h"
#include "cache/verbs/expression.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace vx::cache {

namespace {

std::pair<std::string, std::string> name_and_value(const std::string& option,
                                                   const std::string& text) {
    const std::size_t equal = text.find('=');
    if (equal == 0 || equal == std::string::npos || equal + 1 == text.size()) {
        throw UsageError(option + ": '" + text + "' is not NAME=VALUE");
    }
    return {text.substr(0, equal), text.substr(equal + 1)};
}

std::size_t need(const Cloud& cloud, const std::string& option, const std::string& name) {
    const int at = cloud.find(name);
    if (at < 0) {
        throw FileError(cloud.file_name, -1, option + ": there is no attribute '" + name + "'");
    }
    return static_cast<std::size_t>(at);
}

Type type_of_word(const std::string& word) {
    for (const Type type : {Type::int32, Type::int64, Type::float32, Type::float64}) {
        if (word == type_name(type)) return type;
    }
    throw UsageError("--cast: '" + word + "' is not int32, int64, float32 or float64");
}

// A cloud with an attribute that is computed from its others, as float64. It takes the place of an
// attribute with its name, or is the last one.
class ComputedCloud final : public Cloud {
  public:
    ComputedCloud(Cloud& cloud, const std::string& name, const std::string& text) : m_cloud(cloud) {
        file_name = cloud.file_name;
        count = cloud.count;
        attributes = cloud.attributes;
        const std::vector<std::string> parts = split_expressions(text);
        const int at = cloud.find(name);
        int width =
            at >= 0 ? cloud.attributes[static_cast<std::size_t>(at)].width : known_width(name);
        if (width == 0) width = static_cast<int>(parts.size());
        if (parts.size() != 1 && std::ssize(parts) != width) {
            throw UsageError("--set: '" + name + "' has " + std::to_string(width) +
                             " values per point, '" + text + "' gives " +
                             std::to_string(parts.size()));
        }
        for (int k = 0; k < width; ++k) {
            const std::string& part = parts[parts.size() == 1 ? 0 : static_cast<std::size_t>(k)];
            m_values.push_back(
                std::make_unique<Expression>(cloud, "--set " + name, part, width, k));
        }
        m_index = at >= 0 ? static_cast<std::size_t>(at) : attributes.size();
        attributes.resize(std::max(attributes.size(), m_index + 1));
        attributes[m_index] = {name, Type::float64, width, false};
    }

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        if (attribute != m_index) {
            m_cloud.read(attribute, first, n, out);
            return;
        }
        auto* const target = static_cast<double*>(out);
        for (std::int64_t done = 0; done < n; done += kBlockPoints) {
            const std::int64_t points = std::min(kBlockPoints, n - done);
            for (std::size_t k = 0; k < m_values.size(); ++k) {
                const auto results = m_values[k]->evaluate(first + done, points);
                for (std::size_t i = 0; i < results.size(); ++i) {
                    target[(static_cast<std::size_t>(done) + i) * m_values.size() + k] = results[i];
                }
            }
        }
    }

  private:
    Cloud& m_cloud;
    std::size_t m_index = 0;
    std::vector<std::unique_ptr<Expression>> m_values; // one per component
};

Cloud& convert(Cloud& cloud, std::size_t attribute, Type type, EditLayers& layers) {
    auto converted = std::make_unique<ConvertedCloud>(cloud, attribute, type);
    layers.converted.push_back(converted.get());
    layers.owned.push_back(std::move(converted));
    return *layers.owned.back();
}

void rename(Cloud& cloud, const std::string& from, const std::string& to) {
    const std::size_t at = need(cloud, "--rename", from);
    if (cloud.find(to) >= 0) {
        throw FileError(cloud.file_name, -1, "--rename: there is a '" + to + "' already");
    }
    const int width = known_width(to);
    if (width != 0 && width != cloud.attributes[at].width) {
        throw FileError(cloud.file_name, -1,
                        "--rename: '" + to + "' has " + std::to_string(width) +
                            " values per point, '" + from + "' has " +
                            std::to_string(cloud.attributes[at].width));
    }
    cloud.attributes[at].name = to;
}

} // namespace

void EditLayers::report(Session& session, const std::string& path) const {
    for (const ConvertedCloud* const cloud : converted) {
        if (cloud->changed()) {
            session.note(path + ": '" + cloud->converted().name + "': values do not fit " +
                         std::string(type_name(cloud->converted().type)) + " and were rounded");
        }
    }
}

void Edits::add(CLI::App& app) {
    const auto option = [&app](const char* name, std::vector<std::string>& values,
                               const char* help) {
        return app.add_option(name, values, help)->allow_extra_args(false)->group("Attributes");
    };
    option("--rename", renames, "OLD=NEW, as Cd=rgbPP: another name; repeatable, applied first");
    option("--set", sets,
           "NAME=EXPRESSION, as 'rgbPP=rgbPP*0.5' or up=0,1,0: computes an attribute; repeatable, "
           "applied second");
    option("--cast", casts,
           "NAME=TYPE, as tag=int32: int32, int64, float32 or float64; repeatable, applied third");
    option("--drop", drops, "leave these attributes out, as radius,id")->delimiter(',');
    option("--keep", keeps, "leave all others out, as position,rgbPP")->delimiter(',');
}

Cloud& Edits::apply(Cloud& cloud, EditLayers& layers) const {
    for (const std::string& text : renames) {
        const auto [from, to] = name_and_value("--rename", text);
        rename(cloud, from, to);
    }
    Cloud* last = &cloud;
    for (const std::string& text : sets) {
        const auto [name, value] = name_and_value("--set", text);
        const int at = last->find(name);
        const Type before =
            at < 0 ? Type::float64 : last->attributes[static_cast<std::size_t>(at)].type;
        layers.owned.push_back(std::make_unique<ComputedCloud>(*last, name, value));
        last = layers.owned.back().get();
        if (before != Type::float64) {
            last = &convert(*last, static_cast<std::size_t>(at), before, layers);
        }
    }
    for (const std::string& text : casts) {
        const auto [name, word] = name_and_value("--cast", text);
        const Type type = type_of_word(word);
        last = &convert(*last, need(*last, "--cast", name), type, layers);
    }
    return *last;
}

Cloud& Edits::choose(Cloud& cloud, EditLayers& layers) const {
    if (drops.empty() && keeps.empty()) return cloud;
    for (const std::string& name : drops)
        (void)need(cloud, "--drop", name);
    for (const std::string& name : keeps)
        (void)need(cloud, "--keep", name);
    const auto has = [](const std::vector<std::string>& list, const std::string& name) {
        return std::find(list.begin(), list.end(), name) != list.end();
    };
    std::vector<std::size_t> picked;
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const std::string& name = cloud.attributes[i].name;
        if ((keeps.empty() || has(keeps, name)) && !has(drops, name)) picked.push_back(i);
    }
    layers.owned.push_back(std::make_unique<PickedCloud>(cloud, std::move(picked)));
    return *layers.owned.back();
}

} // namespace vx::cache

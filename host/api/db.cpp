// mi_db_*: access to the scene database.
#include "host/shading/context.h"

namespace {

using vx::shading::Context;

// Calls `answer`. A bad tag aborts the render, since mi_db_access never returns null.
template <class Answer>
auto answer_or_abort(const Answer& answer) {
    Context& context = Context::current();
    try {
        return answer(context);
    } catch (const vx::db::BadTag& bad) {
        context.abort_render(bad.what());
    }
}

void must_exist(const Context& context, miTag tag, const char* operation) {
    if (context.database.find(tag) == nullptr) throw vx::db::BadTag(tag, operation);
}

} // namespace

int mi_db_type(const miTag tag) {
    return answer_or_abort([tag](const Context& context) {
        const int type = context.database.type(tag);
        if (type == 0) must_exist(context, tag, "type");
        return type;
    });
}

int mi_db_size(const miTag tag) {
    return answer_or_abort([tag](const Context& context) {
        must_exist(context, tag, "size");
        return static_cast<int>(context.database.size(tag));
    });
}

void* mi_db_access(const miTag tag) {
    return answer_or_abort([tag](Context& context) {
        bool over_limit = false;
        void* const address = context.thread().pins.access(tag, &over_limit);
        // Only warn, and only once: existing shaders never unpin declarations.
        if (over_limit)
            context.say(vx::shading::Level::warning,
                        context.thread().with_shader(
                            "element " + std::to_string(tag) + " \"" + context.database.name(tag) +
                            "\" has more than " + std::to_string(vx::db::Database::kMaxPins) +
                            " pins; accesses are not matched by unpins"));
        return address;
    });
}

void mi_db_unpin(const miTag tag) {
    answer_or_abort([tag](Context& context) {
        if (!context.thread().pins.unpin(tag))
            context.say(vx::shading::Level::warning,
                        context.thread().with_shader("element " + std::to_string(tag) + " \"" +
                                                     context.database.name(tag) +
                                                     "\" is unpinned but not pinned"));
        return 0;
    });
}

// There are no other hosts to send the element to; only the tag is checked.
void mi_db_flush(const miTag tag) {
    answer_or_abort([tag](const Context& context) {
        must_exist(context, tag, "flush");
        return 0;
    });
}

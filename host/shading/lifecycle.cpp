// Init and exit of shaders and their instances.
#include <map>
#include <utility>

#include "host/shading/context.h"
#include "host/shading/crash.h"

namespace vx::shading {

void Context::refuse(DeclaredShader& declaration, const std::string& why) {
    declaration.stage = DeclaredShader::Stage::refused;
    count_as_failed();
    say(Level::error, "shader \"" + declaration.name() + "\" is refused: " + why);
}

void Context::refuse(Function& function, const std::string& why) {
    function.stage.store(Function::Stage::refused, std::memory_order_release);
    count_as_failed();
    say(Level::error, function.label() + " is refused: " + why);
}

// Calls an entry point and returns the reason of the exception that it threw, or an empty text.
// RenderAborted is rethrown. Locks that the call took are released after an exception.
template <class Call>
std::string Context::failure_of(Call&& call) {
    HeldLocks& locks = thread().locks;
    const std::uint64_t before = locks.mark();
    try {
        call();
        return {};
    } catch (const RenderAborted&) {
        locks.give_back_since(before);
        throw;
    } catch (...) {
        locks.give_back_since(before);
        return caught_reason();
    }
}

// A failure in one exit must not keep the others from releasing their resources.
template <class Call>
void Context::run_exit(const std::string& label, const std::string& name, Call&& call) {
    std::string why;
    try {
        why = failure_of(call);
        if (why.empty()) return;
    } catch (const RenderAborted&) {
        m_aborted.store(false, std::memory_order_relaxed); // its message has been written
    }
    count_as_failed();
    if (!why.empty()) say(Level::error, label + ": " + name + "_exit: " + why);
}

bool Context::start(DeclaredShader& declaration, Function& function, miState* state) {
    if (declaration.stage != DeclaredShader::Stage::cold)
        return declaration.stage == DeclaredShader::Stage::ready;

    const std::string& name = declaration.name();
    ShaderCode& code = declaration.code;
    if (declaration.built_in) {
        code = *declaration.built_in;
    } else {
        code.main =
            reinterpret_cast<ShaderCode::Main>(libraries.symbol(name, &declaration.library));
        code.init = reinterpret_cast<ShaderCode::Init>(libraries.symbol(name + "_init"));
        code.exit = reinterpret_cast<ShaderCode::Exit>(libraries.symbol(name + "_exit"));
        code.version = reinterpret_cast<ShaderCode::Version>(libraries.symbol(name + "_version"));
        if (code.main == nullptr) {
            refuse(declaration, "no linked library contains it");
            return false;
        }
        int version = declaration.source.version;
        if (code.version == nullptr) {
            say(Level::warning,
                "shader \"" + name + "\" has no function " + name +
                    "_version; its version cannot be compared with the declaration");
        } else if (const std::string why = failure_of([&] {
                       const Activity checking("version of shader", name);
                       version = code.version();
                   });
                   !why.empty()) {
            refuse(declaration, name + "_version: " + why);
            return false;
        }
        if (version != declaration.source.version) {
            refuse(declaration, "its library has version " + std::to_string(version) +
                                    ", its declaration version " +
                                    std::to_string(declaration.source.version));
            return false;
        }
    }

    declaration.instance_init = false;
    if (code.init != nullptr) {
        miBoolean instances_too = miFALSE;
        const CallFrame frame(*this, function, state, miSHADER_NONE, function.record);
        const std::string why = failure_of([&] { code.init(state, nullptr, &instances_too); });
        if (!why.empty()) {
            refuse(declaration, name + "_init: " + why);
            return false;
        }
        declaration.instance_init = instances_too != miFALSE;
    }
    declaration.stage = DeclaredShader::Stage::ready;
    m_started.push_back(&declaration);
    return true;
}

bool Context::start(Function& function, miState* state) {
    if (function.stage.load(std::memory_order_acquire) == Function::Stage::refused) return false;

    const LockScope initializing(m_init_lock, *this);
    switch (function.stage.load(std::memory_order_acquire)) {
    case Function::Stage::ready:
        return true;
    case Function::Stage::refused:
        return false;
    case Function::Stage::starting:
        // This thread holds the init lock, so this call is nested in that init.
        abort_render("the initialization of \"" + function.name + "\" needs a value of \"" +
                     function.name + "\" itself");
    case Function::Stage::cold:
        break;
    }
    check_aborted();
    if (!start(*function.declaration, function, state)) {
        function.stage.store(Function::Stage::refused, std::memory_order_release);
        return false;
    }
    if (function.declaration->instance_init) {
        function.stage.store(Function::Stage::starting, std::memory_order_relaxed);
        std::string why;
        try {
            miBoolean unused = miFALSE;
            const CallFrame frame(*this, function, state, miSHADER_NONE, function.record);
            why = failure_of([&] {
                function.declaration->code.init(state, function.record->parameters, &unused);
            });
        } catch (...) {
            function.stage.store(Function::Stage::cold, std::memory_order_relaxed);
            throw;
        }
        if (!why.empty()) {
            refuse(function, function.declaration->name() + "_init: " + why);
            return false;
        }
        function.needs_exit = true;
    }
    function.stage.store(Function::Stage::ready, std::memory_order_release);
    return true;
}

// One warning per instance, and forgets the counts.
void Context::report_failed_calls() {
    std::vector<CallCount> sums(functions.functions().size());
    {
        const std::lock_guard lock(m_threads_mutex);
        for (const auto& thread : m_threads) {
            for (std::size_t i = 0; i < thread->call_counts.size(); ++i) {
                sums[i].calls += thread->call_counts[i].calls;
                sums[i].failed += thread->call_counts[i].failed;
            }
            thread->call_counts.clear();
        }
    }
    if (aborted()) return;
    for (const auto& function : functions.functions()) {
        const auto [calls, failed] = sums[function->index];
        if (failed == 0) continue;
        const std::string label = function->label();
        omissions.add(scene::Omission::failed_call, label, failed);
        say(Level::warning, label + " returned false for " + std::to_string(failed) + " of " +
                                std::to_string(calls) + " calls");
    }
}

void Context::end_render(const miState& state) {
    report_failed_calls();
    std::map<const DeclaredShader*, std::vector<Function*>> initialized;
    for (const auto& function : functions.functions())
        if (function->needs_exit) initialized[function->declaration].push_back(function.get());

    miState exit_state = state;
    exit_state.parent = nullptr;
    exit_state.child = nullptr;
    exit_state.shader = nullptr;
    // Exits run after an aborted render, too, and they may wait for locks.
    const bool was_aborted = m_aborted.exchange(false, std::memory_order_relaxed);
    const std::atomic<bool>& interrupt = *std::exchange(m_interrupt, &kNever);
    for (DeclaredShader* const declaration : m_started) {
        const ShaderCode::Exit exit = declaration->code.exit;
        if (exit == nullptr) continue;
        const std::string& name = declaration->name();
        for (Function* const function : initialized[declaration])
            run_exit(function->label(), name, [&] {
                const CallFrame frame(*this, *function, &exit_state, miSHADER_NONE,
                                      function->record);
                exit(&exit_state, function->record->parameters);
            });
        run_exit("shader \"" + name + '"', name, [&] {
            const Activity ending("exit of shader", name);
            exit(&exit_state, nullptr);
        });
    }
    m_started.clear();
    m_aborted.store(was_aborted, std::memory_order_relaxed);
    watch(interrupt);

    for (const auto& declaration : functions.declarations()) {
        declaration->stage = DeclaredShader::Stage::cold;
        declaration->instance_init = false;
        declaration->code = {};
    }
    for (const auto& function : functions.functions()) {
        function->stage.store(Function::Stage::cold, std::memory_order_relaxed);
        function->user_pointer = nullptr;
        function->needs_exit = false;
    }
    {
        const std::lock_guard lock(m_threads_mutex);
        for (const auto& thread : m_threads) {
            thread->clear_instance_pointers();
            thread->clear();
        }
    }

    settle_pins();
    for (const db::LeftOverPin& pin : database.left_over_pins(true))
        say(Level::debug, "element " + std::to_string(pin.tag) + " \"" + pin.name + "\" (type " +
                              std::to_string(pin.type) + ") was left with " +
                              std::to_string(pin.pins) + " pins");
}

} // namespace vx::shading

#include "host/trace/traced_frame.h"

namespace vx::trace {

TracedFrame::TracedFrame(shading::Context& context, const World& world, miCamera& camera,
                         miOptions& options, const Textures* textures)
    : m_context(context),
      m_world(world),
      m_camera(camera),
      m_options(options),
      m_textures(textures) {
    const auto* const instance =
        context.database.find<miInstance>(world.camera_instance(), miSCENE_INSTANCE);
    const Matrix to_world =
        instance != nullptr ? to_matrix(instance->tf.local_to_global) : kIdentity;
    m_camera_origin = point(to_world, {0.0f, 0.0f, 0.0f});
    m_camera_forward = normalized(direction(to_world, {0.0f, 0.0f, -1.0f}));
    m_state.version = 2;
    m_state.camera_inst = world.camera_instance();
    m_state.camera = &camera;
    m_state.options = &options;
    m_state.global_lock = context.global_lock;
    m_state.type = miRAY_EYE;
    m_state.volume = camera.volume;
    m_state.environment = camera.environment;
    m_state.face = options.face;
    m_state.ior = 1.0f;
    m_state.ior_in = 1.0f;
    m_state.importance = 1.0f;
    m_current.store(this, std::memory_order_release);
}

TracedFrame::~TracedFrame() {
    TracedFrame* self = this;
    m_current.compare_exchange_strong(self, nullptr);
}

void TracedFrame::warn_too_deep() {
    if (m_warned_too_deep.exchange(true)) return;
    m_context.omissions.add(scene::Omission::ray, "nested too deep");
    m_context.say(shading::Level::warning,
                  "rays nest too deep; rays beyond the limit return black (reported once)");
}

} // namespace vx::trace

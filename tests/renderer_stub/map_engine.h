// The map side of the stand-in: declarations, elements and maps that record what is done to them.
// A map keeps its elements and "writes" them into written(); nothing reaches a disk.
#ifndef VX_TESTS_RENDERER_STUB_MAP_ENGINE_H
#define VX_TESTS_RENDERER_STUB_MAP_ENGINE_H

#include "shader.h"

#include <map>
#include <string>
#include <vector>

namespace vx::stub {

class Renderer;

// A value as text: "vector 1 2 3", "scalar 0.5", "integer -4".
using FieldValues = std::map<std::string, std::string>;

struct WrittenElement {
    std::vector<float> position;
    FieldValues fields; // by name
};

struct WrittenMap {
    std::string file_name;
    unsigned dimension = 0;
    std::vector<std::string> fields;      // "name kind", in the order of declaration
    std::vector<WrittenElement> elements; // none from a quiet engine
    size_t count = 0;
    bool consolidated = false; // since the last append
};

class MapEngine final : public mi::shader_v3::Interface {
  public:
    explicit MapEngine(Renderer& renderer) : renderer_(renderer) {}

    // ---- scripted ----
    int refuse_append = -1; // index of the append that fails with Insufficient_memory; -1: none
    bool quiet = false;     // only counts elements: for large maps

    // ---- results ----
    std::vector<WrittenMap> written;
    int interfaces = 0; // handed out and not given back
    int objects = 0;    // declarations, elements and maps that live

    Renderer& renderer() { return renderer_; }
    void note(std::string call);

    // ---- the interface ----
    mi::shader_v3::Options* getOptions(miTag string_options) override;
    miTag createFramebuffer() override;
    miTag copyFramebuffer(miTag old_buffer_tag) override;
    mi::shader_v3::LightList* createLightList(miState* state, miTag* slist, int n) override;
    void release() override;
    mi::shader_v3::LightList* createLightList(miState* state, const miVector& axis,
                                              miScalar spread_cos, miTag* slist, int n) override;
    mi::shader_v3::Edit_map_dbhandle*
    createMap(const mi::shader_v3::Map_declaration_base* map_declaration) override;
    mi::shader_v3::Access_map_dbhandle* accessMap(miTag map_tag) override;
    mi::shader_v3::Edit_map_dbhandle* editMap(miTag map_tag) override;
    mi::shader_v3::Access_map_dbhandle* accessMap(const char* filename,
                                                  mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Edit_map_dbhandle* editMap(const char* filename,
                                              mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Map_declaration_base* createMapDeclaration(miUint dimension) override;
    mi::shader_v3::Map_declaration_base*
    copyMapDeclaration(const mi::shader_v3::Map_declaration_base* other,
                       mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Map_declaration_base*
    copyMapDeclaration(const mi::shader_v3::Map_element_base* map_element,
                       mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Map_declaration_base*
    copyMapDeclaration(const mi::shader_v3::Map_base* map,
                       mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Map_element_base*
    createMapElement(const mi::shader_v3::Map_declaration_base* declaration) override;
    mi::shader_v3::Map_element_base*
    copyMapElement(const mi::shader_v3::Map_element_base* other) override;
    mi::shader_v3::Map_iterator_base* createMapIterator(const mi::shader_v3::Map_base* map,
                                                        mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Map_iterator_base* copyMapIterator(const mi::shader_v3::Map_iterator_base* other,
                                                      mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Map_lookup_base* createMapLookup(const mi::shader_v3::Map_base* map,
                                                    mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Map_lookup_base* copyMapLookup(const mi::shader_v3::Map_lookup_base* other,
                                                  mi::shader_v3::Map_status* status) override;
    mi::shader_v3::Access_map_dbhandle*
    shareMap(const mi::shader_v3::Access_map_dbhandle* other) override;

  private:
    Renderer& renderer_;
};

} // namespace vx::stub

#endif

#include "python/expat.h"

#include <cstring>

namespace python {

const PyExpat_CAPI* expat() noexcept {
  const auto* api =
      static_cast<const PyExpat_CAPI*>(PyCapsule_Import(PyExpat_CAPSULE_NAME, /*no_block=*/1));
  if (api == nullptr) {
    PyErr_Clear();
    return nullptr;
  }
  const bool fits = std::strcmp(api->magic, PyExpat_CAPI_MAGIC) == 0 &&
                    api->size >= static_cast<int>(sizeof(PyExpat_CAPI)) && api->MAJOR_VERSION == 2;
  return fits ? api : nullptr;
}

}  // namespace python

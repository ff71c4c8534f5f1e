// The interpreter's own expat, reached through the capsule that its module pyexpat exports to C.
#pragma once

#include "python/api.h"

// What pyexpat.h uses of expat's own header, which does not come with the interpreter. The names
// and types are those of expat 2.x.
extern "C" {
using XML_Char = char;
using XML_LChar = char;
using XML_Size = unsigned long;
using XML_Parser = struct XML_ParserStruct*;
using XML_Memory_Handling_Suite = struct XML_MemorySuite;
using XML_Encoding = struct XML_EncodingTable;
enum XML_Error { XML_ERROR_NONE };
enum XML_Status { XML_STATUS_ERROR = 0, XML_STATUS_OK = 1 };
using XML_StartElementHandler = void (*)(void*, const XML_Char*, const XML_Char**);
using XML_EndElementHandler = void (*)(void*, const XML_Char*);
using XML_CharacterDataHandler = void (*)(void*, const XML_Char*, int);
using XML_CommentHandler = void (*)(void*, const XML_Char*);
using XML_ProcessingInstructionHandler = void (*)(void*, const XML_Char*, const XML_Char*);
using XML_DefaultHandler = void (*)(void*, const XML_Char*, int);
using XML_StartNamespaceDeclHandler = void (*)(void*, const XML_Char*, const XML_Char*);
using XML_EndNamespaceDeclHandler = void (*)(void*, const XML_Char*);
using XML_UnknownEncodingHandler = int (*)(void*, const XML_Char*, XML_Encoding*);

#include <pyexpat.h>
}

namespace python {

/// expat's functions; null (and no exception) where the interpreter has none that fit.
const PyExpat_CAPI* expat() noexcept;

}  // namespace python

#pragma once
// Saving a MuPDF document built in a test to bytes; shared by the test factories.

#include "engine/mupdf_session.h"

#include <vector>

namespace norvane::testing {

std::vector<unsigned char> saveToBytes(fz_context* ctx, pdf_document* doc, const pdf_write_options& options);

}  // namespace norvane::testing

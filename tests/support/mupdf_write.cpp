#include "tests/support/mupdf_write.h"

namespace norvane::testing {

std::vector<unsigned char> saveToBytes(fz_context* ctx, pdf_document* doc, const pdf_write_options& options) {
    fz_buffer* buffer = nullptr;
    mu::muCall(ctx, [&] {
        buffer = fz_new_buffer(ctx, 65536);
        fz_output* out = nullptr;
        fz_try(ctx) {
            out = fz_new_output_with_buffer(ctx, buffer);
            pdf_write_document(ctx, doc, out, &options);
            fz_close_output(ctx, out);
        }
        fz_always(ctx) {
            fz_drop_output(ctx, out);
        }
        fz_catch(ctx) {
            fz_drop_buffer(ctx, buffer);
            fz_rethrow(ctx);
        }
    });
    unsigned char* data = nullptr;
    const std::size_t length = fz_buffer_storage(ctx, buffer, &data);
    std::vector<unsigned char> bytes(data, data + length);
    fz_drop_buffer(ctx, buffer);
    return bytes;
}

OpenedPdf::OpenedPdf(fz_context* ctx, const std::vector<unsigned char>& bytes) : ctx_(ctx) {
    mu::muCall(ctx, [&] {
        fz_stream* in = fz_open_memory(ctx, bytes.data(), bytes.size());
        fz_try(ctx) {
            doc_ = pdf_open_document_with_stream(ctx, in);
        }
        fz_always(ctx) {
            fz_drop_stream(ctx, in);
        }
        fz_catch(ctx) {
            fz_rethrow(ctx);
        }
    });
}

}  // namespace norvane::testing

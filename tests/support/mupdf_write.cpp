#include "tests/support/mupdf_write.h"

namespace norvane::testing {

OpenedPdf::OpenedPdf(fz_context* context, const std::vector<unsigned char>& bytes) : Held(context) {
    Held<fz_stream, fz_drop_stream> in(ctx);
    mu::muCall(ctx, [&] {
        in.ptr = fz_open_memory(ctx, bytes.data(), bytes.size());
        ptr = pdf_open_document_with_stream(ctx, in.ptr);
    });
}

std::vector<unsigned char> saveToBytes(fz_context* ctx, pdf_document* doc, const pdf_write_options& options) {
    Held<fz_buffer, fz_drop_buffer> buffer(ctx);
    Held<fz_output, fz_drop_output> out(ctx);
    mu::muCall(ctx, [&] {
        buffer.ptr = fz_new_buffer(ctx, 65536);
        out.ptr = fz_new_output_with_buffer(ctx, buffer.ptr);
        pdf_write_document(ctx, doc, out.ptr, &options);
        fz_close_output(ctx, out.ptr);
    });
    unsigned char* data = nullptr;
    const std::size_t length = fz_buffer_storage(ctx, buffer.ptr, &data);
    return {data, data + length};
}

}  // namespace norvane::testing

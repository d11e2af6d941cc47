/* A Markdown file to HTML on standard output through md4c's md_html(), with the
 * GitHub dialect (tables, strike-through, task lists, permissive autolinks); the peer
 * of bench/markdown.sh. Usage: md4c-html FILE */
#include <md4c-html.h>
#include <stdio.h>
#include <stdlib.h>

static void emit(const MD_CHAR* text, MD_SIZE size, void* out)
{
    fwrite(text, 1, size, (FILE*)out);
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        fputs("usage: md4c-html FILE\n", stderr);
        return 2;
    }
    FILE* in = fopen(argv[1], "rb");
    if (!in || fseek(in, 0, SEEK_END) != 0) {
        perror(argv[1]);
        return 1;
    }
    const long size = ftell(in);
    char* text = malloc(size > 0 ? (size_t)size : 1);
    rewind(in);
    if (!text || fread(text, 1, (size_t)size, in) != (size_t)size) {
        perror(argv[1]);
        return 1;
    }
    fclose(in);
    const int failed = md_html(text, (MD_SIZE)size, emit, stdout, MD_DIALECT_GITHUB, 0);
    free(text);
    return failed || fflush(stdout) != 0 ? 1 : 0;
}

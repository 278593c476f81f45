/* A program under one of several names. In the current folder it appends its name and arguments as a
   line to the file "calls", and prints the file "NAME.N.txt" of its Nth call, or else "NAME.txt". It
   fails, as the tools that it stands for may. */
#include <stdio.h>
#include <string.h>

/* The name without folder and ending. */
static const char *base_name(char *path)
{
    char *name = path;
    for (char *c = path; *c != 0; ++c) {
        if (*c == '/' || *c == '\\')
            name = c + 1;
    }
    char *ending = strstr(name, ".exe");
    if (ending != NULL)
        *ending = 0;
    return name;
}

static void record(const char *name, int argc, char **argv)
{
    FILE *calls = fopen("calls", "ab");
    if (calls == NULL)
        return;
    fprintf(calls, "%s", name);
    for (int i = 1; i < argc; ++i)
        fprintf(calls, " %s", argv[i]);
    fprintf(calls, "\n");
    fclose(calls);
}

static int calls_so_far(const char *name)
{
    char line[4096];
    int count = 0;
    FILE *calls = fopen("calls", "r");
    while (calls != NULL && fgets(line, sizeof line, calls) != NULL) {
        line[strcspn(line, " \r\n")] = 0;
        count += strcmp(line, name) == 0;
    }
    if (calls != NULL)
        fclose(calls);
    return count;
}

static FILE *open_output(const char *name)
{
    char path[64];
    snprintf(path, sizeof path, "%.40s.%d.txt", name, calls_so_far(name));
    FILE *output = fopen(path, "rb");
    if (output != NULL)
        return output;
    snprintf(path, sizeof path, "%.40s.txt", name);
    return fopen(path, "rb");
}

int main(int argc, char **argv)
{
    const char *name = base_name(argv[0]);
    record(name, argc, argv);
    FILE *output = open_output(name);
    for (int c = EOF; output != NULL && (c = fgetc(output)) != EOF;)
        putchar(c);
    return 3;
}

/* Preloaded into wine's server. The server sends SIGKILL to a process that has not ended half a
   second after its last call, and the program's exit code is lost. On a busy machine that happens
   to programs that have done nothing wrong, so here such a process gets more time.

   A program that another one has terminated cannot end by itself: its main thread has gone, and
   threads that wine does not know, like those of a graphics driver, have not. It is killed at
   once. */

#define _GNU_SOURCE

#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <sys/pidfd.h>
#include <sys/syscall.h>
#include <unistd.h>

static const int patience_ms = 10000;

/* A main thread that has ended while others run is a zombie. */
static int has_main_thread(pid_t process)
{
    char path[sizeof "/proc/-2147483648/stat"];
    char state = 'Z';
    snprintf(path, sizeof path, "/proc/%d/stat", process);
    FILE *const file = fopen(path, "r");
    if (file != NULL) {
        fscanf(file, "%*d (%*[^)]) %c", &state);
        fclose(file);
    }
    return state != 'Z';
}

/* A process of its own waits, so that the kill comes even if the server has ended. The descriptor
   cannot mean a later process with the same number. */
static int kill_later(pid_t process)
{
    const int descriptor = pidfd_open(process, 0);
    if (descriptor < 0)
        return -1;
    const pid_t killer = fork();
    if (killer != 0) {
        close(descriptor);
        return killer < 0 ? -1 : 0;
    }
    /* Keep nothing of the server open. */
    struct pollfd end = {.fd = dup2(descriptor, STDIN_FILENO), .events = POLLIN};
    close_range(STDIN_FILENO + 1, ~0U, 0);
    if (poll(&end, 1, patience_ms) == 0)
        pidfd_send_signal(end.fd, SIGKILL, NULL, 0);
    _exit(0);
}

/* Replaces the C library's function. */
int kill(pid_t process, int number)
{
    if (number == SIGKILL && has_main_thread(process))
        return kill_later(process);
    return (int)syscall(SYS_kill, process, number);
}

// Plays the instrument's touch screen: takes the emulator's tablet for itself and offers the kernel
// what a multitouch controller would, so the program gets true touch events and never a mouse.

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <linux/input.h>
#include <linux/uinput.h>

static const int range = 32767; // of the tablet's axes, and so of the screen's

static int openTablet(void)
{
    DIR *directory = opendir("/dev/input");
    struct dirent *entry;
    while (directory && (entry = readdir(directory))) {
        char path[300], name[80] = "";
        if (strncmp(entry->d_name, "event", 5) != 0)
            continue;
        snprintf(path, sizeof path, "/dev/input/%s", entry->d_name);
        const int device = open(path, O_RDONLY);
        if (device < 0)
            continue;
        ioctl(device, EVIOCGNAME(sizeof name), name);
        if (strstr(name, "Tablet") && ioctl(device, EVIOCGRAB, 1) == 0) {
            closedir(directory);
            return device;
        }
        close(device);
    }
    return -1;
}

static void addAxis(int screen, int code, int maximum)
{
    struct uinput_abs_setup axis = {.code = (__u16)code, .absinfo = {.maximum = maximum}};
    ioctl(screen, UI_SET_ABSBIT, code);
    ioctl(screen, UI_ABS_SETUP, &axis);
}

static int createScreen(void)
{
    const int screen = open("/dev/uinput", O_WRONLY);
    if (screen < 0)
        return -1;
    struct uinput_setup setup = {.id = {.bustype = BUS_VIRTUAL}, .name = "Board touch screen"};
    ioctl(screen, UI_SET_EVBIT, EV_KEY);
    ioctl(screen, UI_SET_KEYBIT, BTN_TOUCH);
    ioctl(screen, UI_SET_EVBIT, EV_ABS);
    ioctl(screen, UI_SET_PROPBIT, INPUT_PROP_DIRECT);
    addAxis(screen, ABS_X, range);
    addAxis(screen, ABS_Y, range);
    addAxis(screen, ABS_MT_SLOT, 4);
    addAxis(screen, ABS_MT_TRACKING_ID, 65535);
    addAxis(screen, ABS_MT_POSITION_X, range);
    addAxis(screen, ABS_MT_POSITION_Y, range);
    if (ioctl(screen, UI_DEV_SETUP, &setup) < 0 || ioctl(screen, UI_DEV_CREATE) < 0)
        return -1;
    return screen;
}

static void tell(int screen, int type, int code, int value)
{
    const struct input_event event = {.type = (__u16)type, .code = (__u16)code, .value = value};
    if (write(screen, &event, sizeof event) != (ssize_t)sizeof event)
        perror("touchscreen");
}

static void tellPosition(int screen, int x, int y)
{
    tell(screen, EV_ABS, ABS_MT_POSITION_X, x);
    tell(screen, EV_ABS, ABS_MT_POSITION_Y, y);
    tell(screen, EV_ABS, ABS_X, x);
    tell(screen, EV_ABS, ABS_Y, y);
}

int main(void)
{
    const int tablet = openTablet();
    const int screen = createScreen();
    if (tablet < 0 || screen < 0) {
        fputs("touchscreen: no tablet, or no uinput\n", stderr);
        return 1;
    }

    struct input_event event;
    int x = 0, y = 0, down = 0, wasDown = 0, finger = 0;
    while (read(tablet, &event, sizeof event) == (ssize_t)sizeof event) {
        if (event.type == EV_ABS && event.code == ABS_X)
            x = event.value;
        else if (event.type == EV_ABS && event.code == ABS_Y)
            y = event.value;
        else if (event.type == EV_KEY && event.code == BTN_LEFT)
            down = event.value;
        if (event.type != EV_SYN || (!down && !wasDown))
            continue; // a tablet hovers, a finger does not
        tell(screen, EV_ABS, ABS_MT_SLOT, 0);
        if (down && !wasDown)
            finger = (finger + 1) % 65536;
        if (down != wasDown)
            tell(screen, EV_ABS, ABS_MT_TRACKING_ID, down ? finger : -1);
        if (down)
            tellPosition(screen, x, y);
        if (down != wasDown)
            tell(screen, EV_KEY, BTN_TOUCH, down);
        tell(screen, EV_SYN, SYN_REPORT, 0);
        wasDown = down;
    }
    return 1;
}

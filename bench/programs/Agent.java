/** The debugging agent, worked from inside the process by inside/. */
class Agent {
    /** On the calling thread. */
    static native void attach();

    /** On the agent's own, at the stop that it makes for a debugger; the nanoseconds that its attach call took. */
    static native long attachAtStop();

    static native void setBreakpoint(Class<?> clazz, String method);

    /** Has events of this kind delivered and counted; see Events. */
    static native void listen(String what);

    static native long delivered();

    /** At the next breakpoint: so many questions of each kind about these objects and all threads. */
    static native void askAtNextStop(Object[] items, int times);

    static native void printAnswers();
}

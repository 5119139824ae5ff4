import java.lang.reflect.Method;

/** A breakpoint that a virtual thread and then a platform thread run into; compiled for JDKs that know no virtual threads. */
class VirtualThreads {
    static volatile int counter;
    static volatile boolean passed;
    static volatile boolean done;

    static void reached() {
    }

    static void virtual() {
        reached();
        passed = true;
        while (!done) counter++;
    }

    public static void main(String[] arguments) throws Exception {
        Method start = Thread.class.getMethod("startVirtualThread", Runnable.class);
        Thread virtual = (Thread) start.invoke(null, (Runnable) VirtualThreads::virtual);
        while (!passed) Thread.sleep(5);
        System.out.println("the virtual thread went by");
        reached();
        done = true;
        virtual.join();
        System.exit(2);
    }
}

import java.io.IOException;

/** What the stress programs share. */
class Stress {
    interface Body {
        void run() throws Exception;
    }

    /** Tells the debugger that it may come, and waits until it says go. */
    static void ready() {
        System.out.println("ready");
        await();
    }

    /** Waits for a line on standard input; its end counts too. */
    static void await() {
        try {
            for (int read = System.in.read(); read != '\n' && read != -1;) read = System.in.read();
        } catch (IOException e) {
            surprise(e);
        }
    }

    /** Something that the program itself never causes. */
    static void surprise(Throwable what) {
        System.out.println("SURPRISE in " + Thread.currentThread().getName() + ": " + what);
        what.printStackTrace(System.out);
    }

    static Thread thread(String name, Body body) {
        return new Thread(() -> {
            try {
                body.run();
            } catch (Throwable what) {
                surprise(what);
            }
        }, name);
    }

    static Thread daemon(String name, Body body) {
        Thread thread = thread(name, body);
        thread.setDaemon(true);
        thread.start();
        return thread;
    }

    static Thread[] start(int count, String name, Body body) {
        Thread[] threads = new Thread[count];
        for (int i = 0; i < count; i++) threads[i] = thread(name + i, body);
        for (Thread thread : threads) thread.start();
        return threads;
    }

    static void join(Thread[] threads) {
        for (Thread thread : threads) {
            try {
                thread.join();
            } catch (InterruptedException e) {
                surprise(e);
            }
        }
    }

    static void figure(String name, long value) {
        System.out.println(name + "=" + value);
    }

    static int number(String[] arguments, int i) {
        return Integer.parseInt(arguments[i]);
    }
}

import java.io.File;

/** Starts and ends threads all the time, until there is a file of the given name. */
class ThreadStorm {
    static volatile int ended;

    static synchronized void end() {
        ended++;
    }

    public static void main(String[] arguments) throws InterruptedException {
        File enough = new File(arguments[0]);
        System.out.println("ready");
        int started = 0;
        do {
            Thread[] threads = new Thread[4];
            for (int i = 0; i < threads.length; i++) {
                threads[i] = new Thread(ThreadStorm::end);
                threads[i].start();
                started++;
            }
            for (Thread thread : threads) thread.join();
        } while (!enough.exists());
        System.out.println(ended == started && started > 0 ? "all ended" : "lost some");
        System.exit(6);
    }
}

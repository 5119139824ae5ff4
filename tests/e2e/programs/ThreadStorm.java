/** Starts and ends threads all the time, for the given number of milliseconds. */
class ThreadStorm {
    static volatile int ended;

    static synchronized void end() {
        ended++;
    }

    public static void main(String[] arguments) throws InterruptedException {
        long end = System.nanoTime() + Long.parseLong(arguments[0]) * 1_000_000L;
        System.out.println("ready");
        int started = 0;
        while (System.nanoTime() < end) {
            Thread[] threads = new Thread[4];
            for (int i = 0; i < threads.length; i++) {
                threads[i] = new Thread(ThreadStorm::end);
                threads[i].start();
                started++;
            }
            for (Thread thread : threads) thread.join();
        }
        System.out.println(ended == started && started > 0 ? "all ended" : "lost some");
        System.exit(6);
    }
}

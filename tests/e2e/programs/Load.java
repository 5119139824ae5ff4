/** Many threads that run into a breakpoint at once, over and over. */
class Load {
    static void reached() {
    }

    public static void main(String[] arguments) throws InterruptedException {
        int threads = Integer.parseInt(arguments[0]);
        int times = Integer.parseInt(arguments[1]);
        Thread[] started = new Thread[threads];
        for (int i = 0; i < threads; i++) {
            started[i] = new Thread(() -> {
                for (int turn = 0; turn < times; turn++) reached();
            }, "load" + i);
            started[i].start();
        }
        for (Thread thread : started) thread.join();
        System.out.println("ended " + started.length);
        System.exit(8);
    }
}

/** Ends the VM while other threads run into breakpoints; with an argument only when it is told to leave. */
class Exits {
    static volatile int turns;

    static void reached() {
        turns++;
    }

    static void loop() {
        for (;;) reached();
    }

    static void loaded() {
    }

    static void leave() {
        System.exit(10);
    }

    public static void main(String[] arguments) {
        loaded();
        for (int i = 0; i < 4; i++) {
            Thread thread = new Thread(Exits::loop, "loop" + i);
            thread.setDaemon(true);
            thread.start();
        }
        boolean stays = arguments.length > 0;
        while (stays || turns < 50) Thread.onSpinWait();
        System.out.println("leaving");
        System.exit(9);
    }
}

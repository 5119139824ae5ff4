/** Ends the VM while other threads run into breakpoints. */
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
        while (turns < 50) Thread.onSpinWait();
        System.out.println("leaving");
        System.exit(9);
    }
}

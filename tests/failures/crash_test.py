"""Shaders that crash, or throw what is no exception class: message, exit status and files."""

import signal

from failure_case import FailureCase

HEAD = 'link "failing_shaders.so"\n' + "".join(
    'declare shader color "%s" ( integer "failure" ) version 1 end declare\n' % name
    for name in ("f_fail", "f_bad_init", "f_bad_version", "f_bad_exit"))
SEGV, BUS, FPE, ILL, ABORT, STACK, THROW, THREAD, NEVER = range(9)
CRASHED = 5


class Crashes(FailureCase):
    def crash(self, shader, failure, *options, status=CRASHED):
        log = self.render(self.scene('"%s" ( "failure" %d )' % (shader, failure), HEAD), *options, status=status)
        if status != 0:
            self.assertNoFiles()
        return log

    def assertCrash(self, log, shader, what):
        self.assertRegex(log, r'(?m)^RC 0\.\d+ fatal: shader "%s" \(instance "m / %s"\) crashed: %s, scene\.mi:11, '
                              r'library /.*/failing_shaders\.so$' % (shader, shader, what))
        self.assertEqual(log.count("fatal"), 1, log)

    def test_each_signal_is_reported_with_the_shader(self):
        for failure, name in {SEGV: "SIGSEGV", BUS: "SIGBUS", FPE: "SIGFPE", ILL: "SIGILL", ABORT: "SIGABRT",
                              STACK: r"SIGSEGV \(stack overflow\)"}.items():
            with self.subTest(name):
                self.assertCrash(self.crash("f_fail", failure), "f_fail", name)

    def test_stack_overflows_on_any_thread_are_reported_once(self):
        for threads in ("1", "4"):
            with self.subTest(threads):
                log = self.crash("f_fail", STACK, "-threads", threads, "-task_size", "8", "-resolution", "64", "64")
                self.assertCrash(log, "f_fail", r"SIGSEGV \(stack overflow\)")

    def test_crashes_in_other_entry_points(self):
        self.assertCrash(self.crash("f_bad_init", SEGV), "f_bad_init", "SIGSEGV")
        self.assertIn('fatal: version of shader "f_bad_version" crashed: SIGSEGV\n', self.crash("f_bad_version", SEGV))
        self.assertIn('fatal: exit of shader "f_bad_exit" crashed: SIGSEGV\n', self.crash("f_bad_exit", SEGV))

    def test_a_library_that_crashes_while_it_is_loaded(self):
        log = self.render('link "failing_library.so"\n', status=CRASHED)
        self.assertRegex(log, r'fatal: shader library "/.*/failing_library\.so" crashed: SIGABRT\n')

    def test_crashes_outside_of_shaders_have_their_usual_status(self):
        log = self.crash("f_fail", THREAD, status=-signal.SIGSEGV)
        self.assertNotIn("crashed", log)

    def test_what_is_no_exception_class_is_an_error_of_the_shader(self):
        log = self.crash("f_fail", THROW, status=2)
        self.assertIn('fatal: shader "f_fail" (instance "m / f_fail"): uncaught exception that is not a '
                      "std::exception\n", log)

    def test_shaders_that_do_not_fail(self):
        log = self.crash("f_fail", NEVER, status=0)
        self.assertIn("IMG 0.0 progress: wrote p.png\n", log)
        self.assertNotIn("fatal", log)
        self.assertPicture()

// Moves between photo pages with the arrow keys and with horizontal swipes, following the
// page's own previous and next links, so pages without one stay where they are.
(function () {
  function go(rel) {
    var link = document.querySelector('a[rel="' + rel + '"]');
    if (link) window.location.href = link.getAttribute('href');
  }
  document.addEventListener('keydown', function (event) {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    if (event.key === 'ArrowLeft') go('prev');
    if (event.key === 'ArrowRight') go('next');
  });
  var startX = null;
  var startY = null;
  document.addEventListener('touchstart', function (event) {
    if (event.touches.length !== 1) return;
    startX = event.touches[0].clientX;
    startY = event.touches[0].clientY;
  }, { passive: true });
  document.addEventListener('touchend', function (event) {
    if (startX === null) return;
    var dx = event.changedTouches[0].clientX - startX;
    var dy = event.changedTouches[0].clientY - startY;
    startX = null;
    if (Math.abs(dx) > 60 && Math.abs(dx) > 2 * Math.abs(dy)) go(dx > 0 ? 'prev' : 'next');
  });
})();
